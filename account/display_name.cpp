// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/display_name.h"

namespace account {

namespace {

const QString kNobody = QStringLiteral("User");

} // namespace

QString displayName(const std::optional<UserResponse>& user)
{
    if (user && user->name)
        return *user->name;
    return user ? user->email.value_or(kNobody) : kNobody;
}

} // namespace account
