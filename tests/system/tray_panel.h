// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"
#include "tests/system/tray_desktop.h"

#include <QString>
#include <QStringList>

namespace support {

/// A real panel at the bottom of a desktop, 32 pixels high, with a place for status icons.
/// Main thread.
class TrayPanel final
{
public:
    enum class Kind : std::uint8_t {
        Lxqt,
        Xfce,
        Tint2, ///< shows embedded X11 windows only
    };

    static constexpr int kHeight = 32;

    [[nodiscard]] static QStringList programs();

    /// `isDark` is what its background is to be; LXQt's is grey whatever one says.
    TrayPanel(TrayDesktop& desktop, Kind kind, bool isDark);
    TrayPanel(const TrayPanel&) = delete;
    TrayPanel& operator=(const TrayPanel&) = delete;
    ~TrayPanel();

    /// Starts it, again after kill(). Returns when it runs, not when it shows anything.
    [[nodiscard]] platform::Outcome start();

    /// Ends it without a chance to clean up.
    void kill();

private:
    [[nodiscard]] platform::Outcome startXfconf();

    TrayDesktop& m_desktop;
    Kind m_kind;
    bool m_isDark;
    ChildProcess* m_panel = nullptr;
    ChildProcess* m_xfconf = nullptr;
};

} // namespace support
