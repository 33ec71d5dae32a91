// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/url_host.h"

#include "platform/url_characters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unicode/uidna.h>

namespace platform {

namespace {

/// A name has at most 253 characters in ASCII. Some vanish on the way there, but not this many; the
/// conversion counts in 32 bits.
constexpr std::size_t kLongestName = 65'536;

/// Never closed: threads may still be converting when the process ends.
const UIDNA* domainNames()
{
    static const UIDNA* const instance = [] {
        UErrorCode status = U_ZERO_ERROR;
        const std::uint32_t options = std::uint32_t{UIDNA_CHECK_BIDI} |
                                      std::uint32_t{UIDNA_CHECK_CONTEXTJ} |
                                      std::uint32_t{UIDNA_NONTRANSITIONAL_TO_ASCII};
        const UIDNA* const opened = uidna_openUTS46(options, &status);
        return U_SUCCESS(status) ? opened : nullptr;
    }();
    return instance;
}

std::optional<std::string> asciiName(std::string_view name)
{
    if (name.size() > kLongestName || domainNames() == nullptr)
        return std::nullopt;
    std::array<char, 512> buffer{};
    UIDNAInfo info = UIDNA_INFO_INITIALIZER;
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = uidna_nameToASCII_UTF8(domainNames(),
                                                       name.data(),
                                                       static_cast<std::int32_t>(name.size()),
                                                       buffer.data(),
                                                       static_cast<std::int32_t>(buffer.size()),
                                                       &info,
                                                       &status);
    if (U_FAILURE(status) || info.errors != 0)
        return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

bool appendName(std::string& out, std::string_view name)
{
    if (isValidUrlText(name, UrlPlace::HostName)) {
        out += name;
        return true;
    }
    // Among ASCII characters the conversion only lowers case: what is invalid stays so.
    if (std::ranges::all_of(name, [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        return false;
    const auto ascii = asciiName(name);
    if (!ascii || !isValidUrlText(*ascii, UrlPlace::HostName))
        return false;
    out += *ascii;
    return true;
}

bool appendBracketed(std::string& out, std::string_view inner)
{
    static constexpr std::string_view kZoneMark = "%25";
    const std::size_t percent = std::min(inner.find('%'), inner.size());
    const std::string_view address = inner.substr(0, percent);
    const std::string_view zone = inner.substr(percent);
    if (!isValidUrlText(address, UrlPlace::UserInfo))
        return false;
    out += '[';
    out += address;
    if (zone.empty() || (zone.starts_with(kZoneMark) &&
                         isValidUrlText(zone.substr(kZoneMark.size()), UrlPlace::Zone)))
        out += zone;
    else
        appendUrlEncoded(out, zone, UrlPlace::Zone);
    out += ']';
    return true;
}

} // namespace

bool appendUrlHost(std::string& out, std::string_view host)
{
    return isBracketedHost(host) ? appendBracketed(out, host.substr(1, host.size() - 2))
                                 : appendName(out, host);
}

} // namespace platform
