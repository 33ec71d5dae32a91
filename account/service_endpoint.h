// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

namespace account {

/// The address of `path` at the service; none when what `serviceUrl` says is not an address with
/// scheme and host (RFC 3986). Any thread.
[[nodiscard]] std::optional<QString> serviceEndpoint(const QString& serviceUrl,
                                                     const QString& path);

} // namespace account
