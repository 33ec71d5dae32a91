// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <QString>

namespace account {

/// The identity kept under `key`: a random UUID in upper case, made when it is first asked for.
/// Main thread.
[[nodiscard]] QString deviceIdentity(platform::UserDefaults& defaults, const QString& key);

} // namespace account
