// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/none/unsupported_desktop.h"

#include <limits>

namespace platform::none {

double NoIdleTime::secondsSinceLastInput()
{
    return std::numeric_limits<double>::quiet_NaN();
}

std::optional<Application> NoFrontmostApplication::frontmostApplication()
{
    return std::nullopt;
}

std::optional<QString> NoWindowTitle::focusedWindowTitle(const Application& /*application*/)
{
    return std::nullopt;
}

Result<std::optional<QString>> NoScriptRunner::run(QStringView /*source*/)
{
    return Error{QStringLiteral("no browser is connected")};
}

} // namespace platform::none
