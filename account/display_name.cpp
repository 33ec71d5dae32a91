// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/display_name.h"

namespace account {

QString displayName(const UserResponse& user)
{
    if (user.name)
        return *user.name;
    return user.email.value_or(QStringLiteral("User"));
}

} // namespace account
