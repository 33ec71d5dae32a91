// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_front_window.h"

#include "base/build_config.h"

#include <utility>

namespace platform::kwin {

namespace {

/// "com.velomira.UsageMonitor-1.42-1": one script for each connection and object, so that a second
/// process does not take the first one's away.
KWinScriptTarget targetFor(const QDBusConnection& bus, const QString& path)
{
    const QString name = QString::fromUtf8(kBundleIdentifier.data(),
                                           static_cast<qsizetype>(kBundleIdentifier.size())) +
                         u'-' + bus.baseService().mid(1) + u'-' +
                         path.mid(path.lastIndexOf(u'/') + 1);
    return {.service = bus.baseService(), .path = path, .name = name};
}

} // namespace

KWinFrontWindow::KWinFrontWindow(QDBusConnection sessionBus)
    : m_bus(std::move(sessionBus))
    , m_receiver(m_bus)
    , m_keeper(m_bus, targetFor(m_bus, m_receiver.path()))
    , m_owner(m_bus, QStringLiteral("org.kde.KWin"))
{
    if (!m_bus.isConnected()) {
        m_presence = desktop::Presence::Absent;
        return;
    }
    connect(&m_receiver, &KWinReportReceiver::reported, this, &KWinFrontWindow::takeReport);
    connect(&m_keeper, &KWinScriptKeeper::tokenChanged, &m_receiver, &KWinReportReceiver::expect);
    connect(&m_keeper, &KWinScriptKeeper::lost, this, [this] { m_front.reset(); });
    connect(&m_keeper, &KWinScriptKeeper::failed, this, [this] {
        m_front.reset();
        setPresence(desktop::Presence::Absent);
    });
    connect(&m_owner, &desktop::BusNameOwner::changed, this, &KWinFrontWindow::takeOwner);
}

QString KWinFrontWindow::name() const
{
    return QStringLiteral("KWin script");
}

void KWinFrontWindow::takeOwner()
{
    const QString& owner = m_owner.owner();
    m_front.reset();
    m_receiver.expect(QString());
    m_receiver.believe(owner);
    setPresence(owner.isEmpty() ? desktop::Presence::Absent : desktop::Presence::Asking);
    m_keeper.keepIn(owner);
}

void KWinFrontWindow::takeReport(const std::optional<desktop::FrontWindow>& front)
{
    m_keeper.noteReport();
    m_front = front;
    setPresence(desktop::Presence::Here);
}

void KWinFrontWindow::setPresence(desktop::Presence presence)
{
    if (m_presence == presence)
        return;
    m_presence = presence;
    Q_EMIT presenceChanged();
}

} // namespace platform::kwin
