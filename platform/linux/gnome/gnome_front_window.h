// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/bus_name_owner.h"
#include "platform/linux/desktop/front_window_source.h"
#include "platform/linux/gnome/extension_question.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>

class QDBusError;
class QDBusPendingCallWatcher;

namespace platform::gnome {

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
    GnomeFrontWindow(const GnomeFrontWindow&) = delete;
    GnomeFrontWindow& operator=(const GnomeFrontWindow&) = delete;
    ~GnomeFrontWindow() override;

    [[nodiscard]] QString name() const override;

    [[nodiscard]] desktop::Presence presence() const override { return m_presence; }

    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override
    {
        return m_window;
    }

    [[nodiscard]] QString advice() const override { return m_advice; }

private:
    /// Something has changed; called for each of the extension's announcements.
    Q_SLOT void ask();
    void followOwners();
    void setPeer(const QString& peer);
    void readReply();
    void fail(const QDBusError& error);
    void tell(desktop::Presence presence);

    QDBusConnection m_bus;
    desktop::BusNameOwner m_shell;
    desktop::BusNameOwner m_extension;
    ExtensionQuestion m_question;
    QString m_peer;      ///< whom we ask; empty: nobody
    QString m_lastShell; ///< and how many there have been
    std::uint32_t m_shells = 0;
    std::unique_ptr<QDBusPendingCallWatcher> m_call;
    QTimer m_pause; ///< while it runs, nothing is asked
    bool m_isDue = false;
    QElapsedTimer m_silence; ///< since when the peer has not answered; invalid when it has
    std::optional<desktop::FrontWindow> m_window;
    desktop::Presence m_presence = desktop::Presence::Asking;
    QString m_advice;
};

} // namespace platform::gnome
