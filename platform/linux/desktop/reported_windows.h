// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"
#include "platform/window_title.h"

namespace platform::xdg {
class ApplicationNames;
}

namespace platform::desktop {

class FrontWindowSource;

/// The application in front, from what a source reports.
/// Main thread; never waits for the desktop.
class ReportedFrontmostApplication final : public FrontmostApplication
{
public:
    /// Both must outlive this.
    ReportedFrontmostApplication(FrontWindowSource& source, xdg::ApplicationNames& names);

    /// As in the interface. The first answer waits until the desktop files have been read.
    [[nodiscard]] std::optional<Application> frontmostApplication() override;

private:
    FrontWindowSource& m_source;
    xdg::ApplicationNames& m_names;
};

/// The title of the window that the application was taken from, from what a source reports. A
/// source tells of one window: an application that is no longer in front has no title here. Main
/// thread; never waits for the desktop.
class ReportedWindowTitle final : public WindowTitle
{
public:
    /// `source` must outlive this.
    explicit ReportedWindowTitle(const FrontWindowSource& source);

    [[nodiscard]] std::optional<QString>
    focusedWindowTitle(const Application& application) override;

private:
    const FrontWindowSource& m_source;
};

} // namespace platform::desktop
