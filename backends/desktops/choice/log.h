// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>

namespace platform::desktop {

/// "velomira.windows": what answers for the window in front and the idle time, and what has come or
/// gone. Never a window's name or title.
Q_DECLARE_LOGGING_CATEGORY(lcWindows)

} // namespace platform::desktop
