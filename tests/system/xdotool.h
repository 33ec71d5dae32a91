// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/headless_x11.h"

#include <QStringList>

/// Makes input on `desktop` with xdotool, which must be installed. Returns when it has been made;
/// false when that fails.
[[nodiscard]] inline bool xdotool(const support::HeadlessX11& desktop, const QStringList& arguments)
{
    support::ChildProcess program;
    return program.start(QStringLiteral("xdotool"), arguments, desktop.environment()) &&
           program.process().waitForFinished() && program.process().exitCode() == 0;
}
