// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/url_components.h"

#include "base/ascii.h"

#include <QUtf8StringView>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unicode/uidna.h>
#include <utility>

namespace platform {

namespace {

// Which characters may stand where.

/// The places of an address that allow different characters (RFC 3986, section 3; RFC 6874 for the
/// zone of an IPv6 address).
enum class Place : std::uint8_t {
    UserInfo, ///< also what brackets hold
    HostName,
    Zone,
    FirstSegment, ///< of a path that does not begin with a slash: no colon, it would end a scheme
    Path,
    QueryOrFragment,
};

constexpr std::string_view kSubDelimiters = "!$&'()*+,;=";

constexpr unsigned bit(Place place)
{
    return 1U << static_cast<unsigned>(place);
}

/// For each byte the places that allow it.
constexpr std::array<std::uint8_t, 256> kAllowed = [] {
    std::array<std::uint8_t, 256> table{};
    const auto allow = [&table](char c, unsigned places) {
        std::uint8_t& entry = table[static_cast<unsigned char>(c)];
        entry = static_cast<std::uint8_t>(entry | places);
    };
    constexpr unsigned kAll = 0xFF;
    for (char c = 0; c < 0x7F; ++c) {
        if (isAsciiLetter(c) || isAsciiDigit(c))
            allow(c, kAll);
    }
    for (const char c : std::string_view("-._~"))
        allow(c, kAll);
    for (const char c : kSubDelimiters)
        allow(c, kAll & ~bit(Place::Zone));
    allow(':', bit(Place::UserInfo) | bit(Place::Path) | bit(Place::QueryOrFragment));
    allow('@', bit(Place::FirstSegment) | bit(Place::Path) | bit(Place::QueryOrFragment));
    allow('/', bit(Place::Path) | bit(Place::QueryOrFragment));
    allow('?', bit(Place::QueryOrFragment));
    return table;
}();

bool isAllowed(char c, Place place)
{
    return (kAllowed[static_cast<unsigned char>(c)] & bit(place)) != 0;
}

/// The byte that the escape at `position` stands for; none when it is not complete.
std::optional<char> escapedByte(std::string_view text, std::size_t position)
{
    if (text.size() - position < 3)
        return std::nullopt;
    const auto high = hexDigitValue(text[position + 1]);
    const auto low = hexDigitValue(text[position + 2]);
    if (!high || !low)
        return std::nullopt;
    return static_cast<char>((*high << 4U) | *low);
}

/// Whether `text` is made of characters allowed in `place` and of complete escapes (%41) only.
bool isValid(std::string_view text, Place place)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isAllowed(text[i], place))
            continue;
        if (text[i] != '%' || !escapedByte(text, i))
            return false;
        i += 2;
    }
    return true;
}

/// Appends `text` with every byte escaped that `place` does not allow, the percent sign included.
void appendEncoded(std::string& out, std::string_view text, Place place)
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const char c : text) {
        if (isAllowed(c, place)) {
            out += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        out += '%';
        out += kDigits[byte >> 4U];
        out += kDigits[byte & 15U];
    }
}

/// `text` with its escapes replaced by what they stand for; none when one is not complete or the
/// result is not valid UTF-8.
std::optional<std::string> decoded(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const auto byte = escapedByte(text, i);
        if (!byte)
            return std::nullopt;
        out += *byte;
        i += 2;
    }
    const QUtf8StringView utf8(out.data(), static_cast<qsizetype>(out.size()));
    return utf8.isValidUtf8() ? std::optional(std::move(out)) : std::nullopt;
}

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
    if (isValid(name, Place::HostName)) {
        out += name;
        return true;
    }
    // Among ASCII characters the conversion only lowers case: what is invalid stays so.
    if (std::ranges::all_of(name, [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        return false;
    const auto ascii = asciiName(name);
    if (!ascii || !isValid(*ascii, Place::HostName))
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
    if (!isValid(address, Place::UserInfo))
        return false;
    out += '[';
    out += address;
    if (zone.empty() ||
        (zone.starts_with(kZoneMark) && isValid(zone.substr(kZoneMark.size()), Place::Zone)))
        out += zone;
    else
        appendEncoded(out, zone, Place::Zone);
    out += ']';
    return true;
}

/// Whether `host` is an IP address in brackets.
constexpr bool isBracketed(std::string_view host)
{
    return host.size() >= 2 && host.front() == '[' && host.back() == ']';
}

/// Appends `host`, as it stands between user information and port, in a form that an address may
/// have (RFC 3986, section 3.2.2). A valid one is appended as it is; a name in other scripts in
/// its ASCII form (UTS #46), a bad zone of an IP address in brackets percent-encoded. False, with
/// `out` as it was, for a host that no address can have.
bool appendHost(std::string& out, std::string_view host)
{
    return isBracketed(host) ? appendBracketed(out, host.substr(1, host.size() - 2))
                             : appendName(out, host);
}

constexpr auto kNowhere = std::string_view::npos;

/// Cuts off and returns what stands before the first of `delimiters`.
std::string_view takeUntil(std::string_view& text, std::string_view delimiters)
{
    const std::size_t end = std::min(text.find_first_of(delimiters), text.size());
    const std::string_view head = text.substr(0, end);
    text.remove_prefix(end);
    return head;
}

bool isScheme(std::string_view text)
{
    return isAsciiLetter(text.front()) && std::ranges::all_of(text, [](char c) {
               return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.';
           });
}

/// Takes the scheme and its colon off `rest`; false when what stands there cannot be one.
bool takeScheme(std::string_view& rest, UrlComponents& parts)
{
    const std::size_t end = rest.find_first_of(":/?#[]@");
    if (end == kNowhere || end == 0 || rest[end] != ':')
        return true;
    parts.scheme = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return isScheme(*parts.scheme);
}

/// Where the colon before the port is, nowhere without one; none when something else follows
/// the brackets of an IP address.
std::optional<std::size_t> portColon(std::string_view hostAndPort)
{
    if (!hostAndPort.starts_with('['))
        return hostAndPort.find(':');
    const std::size_t bracket = hostAndPort.find(']');
    if (bracket == kNowhere)
        return hostAndPort.find(':');
    if (bracket + 1 == hostAndPort.size())
        return kNowhere;
    return hostAndPort[bracket + 1] == ':' ? std::optional(bracket + 1) : std::nullopt;
}

/// Takes "//" and what belongs to it off `rest`; false when it cannot be split or the port is no
/// number.
bool takeAuthority(std::string_view& rest, UrlComponents& parts)
{
    if (!rest.starts_with("//"))
        return true;
    rest.remove_prefix(2);
    std::string_view authority = takeUntil(rest, "/?#");
    if (const std::size_t at = authority.rfind('@'); at != kNowhere) {
        const std::string_view info = authority.substr(0, at);
        const std::size_t colon = info.find(':');
        parts.user = info.substr(0, colon);
        if (colon != kNowhere)
            parts.password = info.substr(colon + 1);
        authority.remove_prefix(at + 1);
    }
    const auto colon = portColon(authority);
    if (!colon)
        return false;
    parts.host = authority.substr(0, *colon);
    if (*colon != kNowhere)
        parts.port = authority.substr(*colon + 1);
    return std::ranges::all_of(parts.port.value_or(std::string_view()), isAsciiDigit);
}

/// Splits at the delimiters; the host is not yet looked at.
std::optional<UrlComponents> splitAtDelimiters(std::string_view rest)
{
    UrlComponents parts;
    if (!takeScheme(rest, parts) || !takeAuthority(rest, parts))
        return std::nullopt;
    parts.path = takeUntil(rest, "?#");
    if (rest.starts_with('?')) {
        rest.remove_prefix(1);
        parts.query = takeUntil(rest, "#");
    }
    if (rest.starts_with('#'))
        parts.fragment = rest.substr(1);
    return parts;
}

/// Nothing says that it is an address, and characters that it may not have say that it is not.
bool isPlainText(const UrlComponents& parts)
{
    if (parts.scheme || parts.host)
        return false;
    const std::string_view fragment = parts.fragment.value_or(std::string_view());
    return !isValid(parts.path, Place::Path) || !isValid(fragment, Place::QueryOrFragment);
}

void appendRepaired(std::string& out, std::string_view text, Place place)
{
    if (isValid(text, place))
        out += text;
    else
        appendEncoded(out, text, place);
}

void appendPath(std::string& out, std::string_view path)
{
    if (isValid(path, Place::Path)) {
        out += path;
        return;
    }
    const std::size_t slash = std::min(path.find('/'), path.size());
    appendEncoded(out, path.substr(0, slash), Place::FirstSegment);
    appendEncoded(out, path.substr(slash), Place::Path);
}

/// False when the host cannot be one.
bool appendAuthority(std::string& out, const UrlComponents& parts)
{
    if (!parts.host)
        return true;
    out += "//";
    if (parts.user) {
        appendRepaired(out, *parts.user, Place::UserInfo);
        if (parts.password) {
            out += ':';
            appendRepaired(out, *parts.password, Place::UserInfo);
        }
        out += '@';
    }
    if (!appendHost(out, *parts.host))
        return false;
    if (parts.port) {
        out += ':';
        out += *parts.port;
    }
    return true;
}

} // namespace

std::optional<UrlComponents> splitUrl(std::string_view address)
{
    const auto parts = splitAtDelimiters(address);
    std::string written;
    const bool parses = parts && !isPlainText(*parts) && appendAuthority(written, *parts);
    return parses ? parts : std::nullopt;
}

bool hasUrlQuery(std::string_view address)
{
    const std::size_t mark = address.find('?');
    return mark != kNowhere && address.substr(0, mark).find('#') == kNowhere;
}

std::string withoutUrlQuery(std::string_view address)
{
    if (!hasUrlQuery(address))
        return std::string(address);
    const auto parts = splitAtDelimiters(address);
    if (!parts || isPlainText(*parts))
        return std::string(address);
    std::string out;
    out.reserve(address.size());
    if (parts->scheme) {
        out += *parts->scheme;
        out += ':';
    }
    if (!appendAuthority(out, *parts))
        return std::string(address);
    appendPath(out, parts->path);
    if (parts->fragment) {
        out += '#';
        appendRepaired(out, *parts->fragment, Place::QueryOrFragment);
    }
    return out;
}

std::string urlHostKey(std::string_view address)
{
    const auto parts = splitAtDelimiters(address);
    if (!parts || !parts->host)
        return std::string(address);
    if (parts->host->empty()) {
        const bool hasMore = parts->user || !parts->port.value_or(std::string_view()).empty();
        return hasMore ? std::string() : std::string(address);
    }
    std::string host;
    if (!appendHost(host, *parts->host))
        return std::string(address);
    std::string_view bare = host;
    if (isBracketed(bare))
        bare = bare.substr(1, bare.size() - 2);
    return decoded(bare).value_or(std::string(address));
}

} // namespace platform
