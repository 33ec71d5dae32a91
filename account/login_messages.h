// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"
#include "base/result.h"
#include "platform/http_client.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace account {

/// The body of a sign-in (docs/formats.md, "Sign-in"); none when a text is not valid Unicode.
/// Any thread.
[[nodiscard]] std::optional<QByteArray>
loginBody(const QString& email, const QString& password, const QString& deviceId);

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
