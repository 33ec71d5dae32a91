// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/kwin/kwin_report_receiver.h"

#include <atomic>
#include <utility>

namespace platform::kwin {

namespace {

QString newPath()
{
    static std::atomic<int> count = 0;
    return QStringLiteral("/com/velomira/UsageMonitor/KWin/%1").arg(++count);
}

} // namespace

KWinReportReceiver::KWinReportReceiver(QDBusConnection bus)
    : m_bus(std::move(bus))
    , m_path(newPath())
{
    m_bus.registerVirtualObject(m_path, this);
}

KWinReportReceiver::~KWinReportReceiver()
{
    m_bus.unregisterObject(m_path);
}

bool KWinReportReceiver::handleMessage(const QDBusMessage& message,
                                       const QDBusConnection& /*connection*/)
{
    if (m_service.isEmpty() || message.service() != m_service) {
        refuse(message, QDBusError::AccessDenied, QStringLiteral("only KWin may report here"));
        return true;
    }
    if (message.interface() != reportInterface() || message.member() != reportMethod())
        return false;
    const std::optional<KWinReport> report = decodeReport(message.arguments());
    if (!report) {
        refuse(message, QDBusError::InvalidArgs, QStringLiteral("this is not a report"));
        return true;
    }
    if (m_token.isEmpty() || report->token != m_token) {
        refuse(message, QDBusError::AccessDenied, QStringLiteral("this script is not the one"));
        return true;
    }
    // The script waits for the answer before it reports again.
    m_bus.send(message.createReply());
    Q_EMIT reported(report->front);
    return true;
}

QString KWinReportReceiver::introspect(const QString& /*path*/) const
{
    return {};
}

void KWinReportReceiver::refuse(const QDBusMessage& message,
                                QDBusError::ErrorType type,
                                const QString& text)
{
    m_bus.send(message.createErrorReply(type, text));
}

} // namespace platform::kwin
