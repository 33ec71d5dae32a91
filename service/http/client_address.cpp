// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/client_address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace service {

namespace {

std::string_view trimmed(std::string_view text)
{
    const std::size_t from = text.find_first_not_of(" \t");
    if (from == std::string_view::npos)
        return {};
    return text.substr(from, text.find_last_not_of(" \t") - from + 1);
}

} // namespace

std::optional<std::string> forwardedClient(std::string_view forwardedFor)
{
    const std::size_t comma = forwardedFor.rfind(',');
    std::string last(
        trimmed(comma == std::string_view::npos ? forwardedFor : forwardedFor.substr(comma + 1)));
    std::array<unsigned char, 16> bytes = {};
    if (::inet_pton(AF_INET, last.c_str(), bytes.data()) == 1 ||
        ::inet_pton(AF_INET6, last.c_str(), bytes.data()) == 1)
        return last;
    return std::nullopt;
}

std::string peerKey(const std::string& address)
{
    std::array<unsigned char, 16> bytes = {};
    // An address of the link has the name of its interface behind it.
    const std::string number = address.substr(0, address.find('%'));
    if (::inet_pton(AF_INET6, number.c_str(), bytes.data()) != 1)
        return address;
    // An IPv4 address in the clothes of IPv6 is one of many in the same 64 bits.
    constexpr std::array<unsigned char, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const std::size_t significant =
        std::equal(kMapped.begin(), kMapped.end(), bytes.begin()) ? bytes.size() : 8;
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(significant)};
}

} // namespace service
