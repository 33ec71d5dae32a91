// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_desktop.h"

#include <limits>
#include <utility>

namespace platform::x11 {

using desktop::Presence;

X11Desktop::X11Desktop(std::unique_ptr<X11Connection> connection, QString name)
    : m_connection(std::move(connection))
    , m_name(std::move(name))
    , m_mirror(*m_connection)
    , m_idleTime(*this)
{
    connect(m_connection.get(), &X11Connection::lost, this, [this] {
        Q_EMIT presenceChanged();
        Q_EMIT m_idleTime.presenceChanged();
    });
}

X11Desktop::~X11Desktop() = default;

Presence X11Desktop::presence() const
{
    return m_connection->isLost() ? Presence::Absent : Presence::Here;
}

QString X11Desktop::IdleTime::name() const
{
    return QStringLiteral("MIT-SCREEN-SAVER");
}

Presence X11Desktop::IdleTime::presence() const
{
    return m_desktop.m_connection->hasScreenSaver() ? m_desktop.presence() : Presence::Absent;
}

double X11Desktop::IdleTime::secondsSinceLastInput()
{
    return m_desktop.m_connection->hasScreenSaver() ? m_desktop.m_mirror.idleSeconds()
                                                    : std::numeric_limits<double>::quiet_NaN();
}

} // namespace platform::x11
