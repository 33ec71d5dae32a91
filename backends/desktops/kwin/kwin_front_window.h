// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/bus_name_owner.h"
#include "backends/desktops/choice/sources.h"
#include "backends/desktops/kwin/kwin_script_keeper.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QLoggingCategory>
#include <QString>
#include <QVariantList>

#include <optional>

namespace platform::kwin {

/// What the script in KWin says of the window in front.
struct KWinReport
{
    /// By which the reports of one script are told from all others'.
    QString token;
    /// None: nothing is in front that belongs to an application.
    std::optional<desktop::FrontWindow> front;

    bool operator==(const KWinReport&) const = default;
};

/// What the arguments of a report say; none when they are not those of a report. Titles are cut to
/// 16 KiB of UTF-8, longer identifiers than 1 KiB are left out.
/// Any thread.
[[nodiscard]] std::optional<KWinReport> decodeReport(const QVariantList& arguments);

/// The object on the session bus to which the script in KWin reports. It believes only the process
/// that is KWin, and of that only the script that knows the token; everybody else is refused.
/// Main thread.
class KWinReportReceiver final : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// Has an object path of its own on `bus`.
    explicit KWinReportReceiver(QDBusConnection bus);
    KWinReportReceiver(const KWinReportReceiver&) = delete;
    KWinReportReceiver& operator=(const KWinReportReceiver&) = delete;
    ~KWinReportReceiver() override;

    [[nodiscard]] const QString& path() const { return m_path; }

    /// From now on this is KWin's unique name; empty: nobody is.
    void believe(const QString& service) { m_service = service; }

    /// From now on this is the script's token; empty: none is.
    void expect(const QString& token) { m_token = token; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
    [[nodiscard]] QString introspect(const QString& path) const override;

Q_SIGNALS:
    /// The script says what is in front.
    void reported(const std::optional<platform::desktop::FrontWindow>& front);

private:
    void refuse(const QDBusMessage& message, QDBusError::ErrorType type, const QString& text);

    QDBusConnection m_bus;
    QString m_path;
    QString m_service;
    QString m_token;
};

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
