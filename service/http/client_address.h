// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace service {

/// The address of a client that a reverse proxy in front reports: the last of `forwardedFor` (the
/// value of the last header X-Forwarded-For), which is the one that the proxy wrote itself. Nothing
/// when that is not an IP address.
[[nodiscard]] std::optional<std::string> forwardedClient(std::string_view forwardedFor);

/// What counts as one client: an IPv4 address, or the 64 bits of IPv6 that one customer has to
/// choose from.
[[nodiscard]] std::string peerKey(const std::string& address);

} // namespace service
