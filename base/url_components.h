// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The components of an address (RFC 3986, section 3) exactly as they are written, without the
/// characters that set them off. Absent is not empty: "http://h?" has a query, an empty one.
/// The views are those of the text that was split.
struct UrlComponents
{
    std::optional<std::string_view> scheme;
    std::optional<std::string_view> user;
    std::optional<std::string_view> password;
    /// Present behind "//", even if empty; with the brackets of an IP address.
    std::optional<std::string_view> host;
    std::optional<std::string_view> port;
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;

    bool operator==(const UrlComponents&) const = default;
};

// All functions here take addresses in UTF-8. Any thread; time linear in the length. The first name
// in another script loads the tables for it.

/// The components of `address`; none when it is no address: a scheme, a host or a port that cannot
/// be one, or, with neither scheme nor "//", a path or fragment with invalid characters, as plain
/// text has. Invalid characters elsewhere are tolerated, as browsers do.
[[nodiscard]] std::optional<UrlComponents> splitUrl(std::string_view address);

/// Whether a "?" stands before the first "#". Looks at nothing else.
[[nodiscard]] bool hasUrlQuery(std::string_view address);

/// `address` without its query and the "?" before it, which may hold what is nobody else's
/// business. What splitUrl() does not take for an address, and one without a query, is returned
/// unchanged.
///
/// A component that is valid stays as it is written. One with an invalid character is escaped as a
/// whole, percent signs included, and a host name in another script is written in its ASCII form.
[[nodiscard]] std::string withoutUrlQuery(std::string_view address);

/// What addresses of the same site have in common: the host with its escapes decoded, without
/// brackets; its case is kept. An address with no host at all ("file:///x"), or with one that does
/// not decode to UTF-8, and text that is no address are returned whole.
[[nodiscard]] std::string urlHostKey(std::string_view address);

} // namespace platform
