// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Appends `host`, as it stands between user information and port, in a form that an address may
/// have (RFC 3986, section 3.2.2). A valid one is appended as it is; a name in other scripts in
/// its ASCII form (UTS #46), a bad zone of an IP address in brackets percent-encoded. False, with
/// `out` as it was, for a host that no address can have.
/// Any thread. The first name in another script loads the tables for it.
[[nodiscard]] bool appendUrlHost(std::string& out, std::string_view host);

/// Whether `host` is an IP address in brackets.
[[nodiscard]] constexpr bool isBracketedHost(std::string_view host)
{
    return host.size() >= 2 && host.front() == '[' && host.back() == ']';
}

} // namespace platform
