// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"

#include <QString>

#include <optional>

namespace account {

/// What the user is called on screen: the name, else the e-mail address, else "User". Only what is
/// absent is passed over; an empty name is an empty name.
[[nodiscard]] QString displayName(const std::optional<UserResponse>& user);

} // namespace account
