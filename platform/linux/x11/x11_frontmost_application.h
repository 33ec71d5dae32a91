// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/frontmost_application.h"

#include <QStringList>

namespace platform::xdg {
class ApplicationNames;
}

namespace platform::x11 {

class X11Mirror;

/// The application of the window that the window manager calls active (EWMH). Values carry the
/// X window as `window`.
/// Main thread.
class X11FrontmostApplication final : public FrontmostApplication
{
public:
    /// Both must outlive this.
    X11FrontmostApplication(X11Mirror& mirror, xdg::ApplicationNames& names);

    /// As in the interface. The first answer waits until the desktop files have been read.
    [[nodiscard]] std::optional<Application> frontmostApplication() override;

private:
    X11Mirror& m_mirror;
    xdg::ApplicationNames& m_names;
    /// The last answer, and what it was made of.
    Application m_application;
    QStringList m_identifiers;
    int m_edition = 0;
};

} // namespace platform::x11
