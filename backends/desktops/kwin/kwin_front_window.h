// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/bus_name_owner.h"
#include "backends/desktops/choice/front_window_source.h"
#include "backends/desktops/kwin/kwin_report.h"
#include "backends/desktops/kwin/kwin_script_keeper.h"

#include <QDBusConnection>

#include <optional>

namespace platform::kwin {

/// The window in front as KWin tells it, by a script of ours that runs in KWin: on Plasma with
/// Wayland, where nothing else tells. Follows KWin when it comes, goes and starts anew.
/// Leaves nothing in KWin; its end waits for that a fifth of a second at most.
/// Behind a screen that KWin has locked it goes on telling of the window that was in front before.
class KWinFrontWindow final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// Begins to look for KWin on `sessionBus`; on a bus that is not connected it stays absent.
    explicit KWinFrontWindow(QDBusConnection sessionBus);

    [[nodiscard]] QString name() const override;

    [[nodiscard]] desktop::Presence presence() const override { return m_presence; }

    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override
    {
        return m_front;
    }

    /// There is input again after a pause: what has been left alone is looked after.
    void noteInput() { m_keeper.noteInput(); }

    /// What the script is called in KWin, and where it reports to.
    [[nodiscard]] const KWinScriptTarget& script() const { return m_keeper.target(); }

private:
    void takeOwner();
    void takeReport(const std::optional<desktop::FrontWindow>& front);
    void setPresence(desktop::Presence presence);

    QDBusConnection m_bus;
    std::optional<desktop::FrontWindow> m_front;
    KWinReportReceiver m_receiver;
    KWinScriptKeeper m_keeper;
    desktop::BusNameOwner m_owner;
    desktop::Presence m_presence = desktop::Presence::Asking;
};

} // namespace platform::kwin
