// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/reported_windows.h"

#include "platform/linux/desktop/front_window_source.h"
#include "platform/linux/xdg/application_names.h"

namespace platform::desktop {

ReportedFrontmostApplication::ReportedFrontmostApplication(FrontWindowSource& source,
                                                           xdg::ApplicationNames& names)
    : m_source(source)
    , m_names(names)
{
}

std::optional<Application> ReportedFrontmostApplication::frontmostApplication()
{
    m_source.update();
    const std::optional<FrontWindow> front = m_source.frontWindow();
    if (!front)
        return std::nullopt;
    const xdg::ApplicationIdentity identity =
        m_names.identify(front->identifiers, front->processIdentifier);
    return Application{.localizedName = front->name ? front->name : identity.name,
                       .bundleIdentifier = identity.identifier,
                       .processIdentifier = front->processIdentifier,
                       .window = front->window};
}

ReportedWindowTitle::ReportedWindowTitle(const FrontWindowSource& source)
    : m_source(source)
{
}

std::optional<QString> ReportedWindowTitle::focusedWindowTitle(const Application& application)
{
    const std::optional<FrontWindow> front = m_source.frontWindow();
    return front && front->window == application.window ? front->title : std::nullopt;
}

} // namespace platform::desktop
