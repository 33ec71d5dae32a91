// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/tray_host_watch.h"

#include <QGuiApplication>

namespace platform::gui {

TrayHostWatch::TrayHostWatch(std::chrono::milliseconds xembedGrace)
{
    m_grace.setSingleShot(true);
    m_grace.setInterval(xembedGrace);
    connect(&m_grace, &QTimer::timeout, this, [this] { decide(Kind::XEmbed); });
    connect(&m_hosts, &StatusNotifierHosts::changed, this, &TrayHostWatch::look);
    connect(&m_xembed, &XEmbedTrayWatch::isThereChanged, this, &TrayHostWatch::look);
}

void TrayHostWatch::start()
{
    m_hosts.start();
    // Under Wayland there may be an X server, but our windows are not its.
    if (QGuiApplication::platformName() == QLatin1StringView("xcb"))
        m_xembed.start();
}

void TrayHostWatch::look()
{
    if (m_hosts.isThere())
        decide(Kind::StatusNotifier);
    // Qt asks the watcher too, with a call that waits: not while it does not answer.
    else if (!m_xembed.isThere() || m_hosts.isAsked())
        m_grace.stop();
    else if (!m_grace.isActive())
        m_grace.start();
}

void TrayHostWatch::decide(Kind kind)
{
    if (m_isDecided)
        return;
    m_isDecided = true;
    m_grace.stop();
    disconnect(&m_xembed, nullptr, this, nullptr);
    disconnect(&m_hosts, nullptr, this, nullptr);
    Q_EMIT hostAvailable(kind);
}

} // namespace platform::gui
