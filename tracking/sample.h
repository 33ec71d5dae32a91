// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace tracking {

/// The rules by which one look at the desktop becomes one sample. Pure functions, any thread.

/// True when nobody has touched the machine for longer than `threshold` seconds. Not-a-number,
/// "unknown", counts as activity.
[[nodiscard]] bool isIdle(double idleSeconds, double threshold);

/// The name to record for `application`: its own, else its identifier, else "Unknown".
[[nodiscard]] QString applicationName(const platform::Application& application);

/// The script that asks the browser with this identifier for the address on show; none for every
/// other application.
[[nodiscard]] std::optional<QStringView> addressScript(const std::optional<QString>& identifier);

/// The line that reports a recorded sample.
[[nodiscard]] QString
tickLine(const QString& name, const QString& title, const std::optional<QString>& address);

/// The line that reports a tick without a sample, with the seconds cut to a whole number. A number
/// of seconds that no 64-bit integer holds ends the program.
[[nodiscard]] QString idleLine(double idleSeconds);

} // namespace tracking
