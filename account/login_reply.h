// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"
#include "platform/http_client.h"
#include "platform/result.h"

#include <QString>

#include <optional>

namespace account {

/// What a successful sign-in brings.
struct Session
{
    QString token;
    std::optional<UserResponse> user;
};

/// What the service's answer to a sign-in means: a session, or the text to show for a refusal.
/// Only the status 200 can bring a session. Any thread.
[[nodiscard]] platform::Result<Session> readLoginReply(const platform::HttpOutcome& outcome);

} // namespace account
