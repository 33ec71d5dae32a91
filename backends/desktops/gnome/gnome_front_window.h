// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/bus_name_owner.h"
#include "backends/desktops/choice/sources.h"
#include "backends/desktops/gnome/extension_state.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QTimer>
#include <QVariantList>

#include <cstdint>
#include <optional>

namespace platform::gnome {

/// The window in front by the values that the extension's Get answered: number, desktop id,
/// application name, title, window class, process id. None when no application's window has the
/// focus, and when the values are not of that kind. Numbers count within a shell; `shell` tells
/// apart the shells that ran while this process does. A title of more than 16 KiB of UTF-8 is cut
/// off there, other texts of more than 1 KiB are left out.
/// Pure; any thread.
[[nodiscard]] std::optional<desktop::FrontWindow> readAnswer(const QVariantList& values,
                                                             std::uint32_t shell);

/// The front window as our extension of GNOME Shell tells it. The extension announces that
/// something has changed and is asked then, at most four times a second; it answers to nobody but
/// the owner of the program's bus name. Whoever else takes the extension's bus name is not
/// believed. Main thread, with an event loop.
class GnomeFrontWindow final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// On the connection that owns the program's bus name, or will own it: until then the source
    /// is there, where the extension is, but knows of no window.
    explicit GnomeFrontWindow(const QDBusConnection& sessionBus);

    [[nodiscard]] QString name() const override;

    [[nodiscard]] desktop::Presence presence() const override { return m_presence; }

    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override
    {
        return m_window;
    }

    [[nodiscard]] QString advice() const override { return m_advice; }

private:
    Q_SLOT void hear(const QDBusMessage& signal);
    void followOwners();
    void setPeer(const QString& peer);
    void readReply(const QDBusPendingReply<>& reply);
    void ask();
    void fail(const QDBusError& error);
    void tell(desktop::Presence presence);

    QDBusConnection m_bus;
    desktop::BusNameOwner m_shell;
    desktop::BusNameOwner m_extension;
    ExtensionQuestion m_question;
    QString m_peer;      ///< whom we ask; empty: nobody
    QString m_lastShell; ///< and how many there have been
    std::uint32_t m_shells = 0;
    dbus::Question m_call;
    QTimer m_pause; ///< while it runs, nothing is asked
    bool m_isDue = false;
    QElapsedTimer m_silence; ///< since when the peer has not answered; invalid when it has
    std::optional<desktop::FrontWindow> m_window;
    desktop::Presence m_presence = desktop::Presence::Asking;
    QString m_advice;
};

} // namespace platform::gnome
