// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <QString>

#include <optional>

namespace account {

// What everybody needs who talks to the service.

/// The address of `path` at the service; none when what `serviceUrl` says is not an address with
/// scheme and host (RFC 3986). Any thread.
[[nodiscard]] std::optional<QString> serviceEndpoint(const QString& serviceUrl,
                                                     const QString& path);

/// The identity kept under `key`: a random UUID in upper case, made when it is first asked for.
/// Main thread.
[[nodiscard]] QString deviceIdentity(platform::UserDefaults& defaults, const QString& key);

} // namespace account
