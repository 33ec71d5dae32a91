// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace account {

/// The body of a sign-in (docs/formats.md, "Sign-in"); none when a text is not valid Unicode.
/// Any thread.
[[nodiscard]] std::optional<QByteArray>
loginBody(const QString& email, const QString& password, const QString& deviceId);

} // namespace account
