// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/front_window.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QLoggingCategory>
#include <QString>
#include <QVariantList>

#include <optional>

namespace platform::kwin {

// For developers; off by default. Nothing of the user's.
Q_DECLARE_LOGGING_CATEGORY(lcKWin)

/// D-Bus interface and method of the reports, "ssssssi": token, the window's id in KWin, caption,
/// class, instance, desktop file, process. An empty id: nothing is in front.
[[nodiscard]] QString reportInterface();
[[nodiscard]] QString reportMethod();

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

} // namespace platform::kwin
