// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/tray_host_watch.h"

#include "backends/desktops/x11/x11_reply.h"

#include <QByteArray>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QLoggingCategory>

#include <xcb/xcb.h>

namespace platform::gui {

using x11::X11Free;
using x11::X11Reply;

namespace {

// For developers; off by default.
Q_LOGGING_CATEGORY(lcTray, "velomira.tray", QtCriticalMsg)

const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = QStringLiteral("/StatusNotifierWatcher");

/// The toolkit's; null where its windows are not an X server's, though there may be one.
xcb_connection_t* xConnection()
{
    const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atomOf(xcb_connection_t* connection, const QByteArray& name)
{
    const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.constData()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

/// The number in $DISPLAY that is the screen's.
int screenNumber()
{
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    xcb_parse_display(nullptr, &host, &display, &screen);
    X11Free{}(host);
    return screen;
}

} // namespace

TrayHostWatch::TrayHostWatch(std::chrono::milliseconds xembedGrace)
    : m_bus(QDBusConnection::sessionBus())
{
    m_grace.setSingleShot(true);
    m_grace.setInterval(xembedGrace);
    connect(&m_grace, &QTimer::timeout, this, [this] { decide(Kind::XEmbed); });
}

void TrayHostWatch::start()
{
    if (m_bus.isConnected())
        watchNotifierHosts();
    if (xConnection())
        watchTrays();
}

void TrayHostWatch::watchNotifierHosts()
{
    connect(&m_notifierWatcher,
            &QDBusServiceWatcher::serviceOwnerChanged,
            this,
            [this](const QString&, const QString&, const QString& owner) {
                if (!owner.isEmpty()) {
                    askForNotifierHost();
                    return;
                }
                m_notifierQuestion.forget();
                m_hasNotifierHost = false;
                look();
            });
    m_notifierWatcher.setConnection(m_bus);
    m_notifierWatcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_notifierWatcher.addWatchedService(kWatcher);
    // From any sender: Qt would wait for the bus to tell who a name belongs to, and a signal from a
    // wrong one does no more than make us ask.
    for (const auto* const signal :
         {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
        m_bus.connect(QString(),
                      kWatcherPath,
                      kWatcher,
                      QString::fromLatin1(signal),
                      this,
                      SLOT(askForNotifierHost()));
    askForNotifierHost();
}

void TrayHostWatch::askForNotifierHost()
{
    if (m_isDecided)
        return;
    m_hasNotifierHost = false;
    // A watcher that hangs keeps one question, which it may answer when it goes on; when it ends,
    // the bus does.
    m_notifierQuestion.ask<QDBusVariant>(
        m_bus,
        dbus::readOf(
            kWatcher, kWatcherPath, kWatcher, QStringLiteral("IsStatusNotifierHostRegistered")),
        [this](const QDBusPendingReply<QDBusVariant>& answer) {
            m_hasNotifierHost = answer.isValid() && answer.value().variant().toBool();
            look();
        },
        dbus::kForEver);
    look();
}

// A screen has a system tray when somebody owns a selection (System Tray Protocol Specification).
void TrayHostWatch::watchTrays()
{
    xcb_connection_t* const connection = xConnection();
    m_manager = atomOf(connection, "MANAGER");
    m_selection = atomOf(connection, "_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber()));
    qGuiApp->installNativeEventFilter(this);
    findTray();
}

void TrayHostWatch::findTray()
{
    xcb_connection_t* const connection = xConnection();
    const X11Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, m_selection), nullptr));
    m_tray = owner ? owner->owner : xcb_window_t{XCB_WINDOW_NONE};
    if (m_tray != XCB_WINDOW_NONE) {
        // Its end will be told; or it has come already, and this fails.
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        const auto sent =
            xcb_change_window_attributes_checked(connection, m_tray, XCB_CW_EVENT_MASK, &mask);
        const X11Reply<xcb_generic_error_t> error(xcb_request_check(connection, sent));
        if (error)
            m_tray = XCB_WINDOW_NONE;
    }
    look();
}

bool TrayHostWatch::nativeEventFilter(const QByteArray& kind, void* event, qintptr* /*result*/)
{
    constexpr std::uint8_t kSentByClient = 0x80;
    if (kind != "xcb_generic_event_t")
        return false;
    const int type = static_cast<xcb_generic_event_t*>(event)->response_type & ~kSentByClient;
    // A tray that comes announces itself to the root window (ICCCM, "Manager Selections"), where
    // the toolkit listens for its own icons.
    const bool hasCome = type == XCB_CLIENT_MESSAGE &&
                         static_cast<xcb_client_message_event_t*>(event)->type == m_manager;
    const bool hasGone = type == XCB_DESTROY_NOTIFY &&
                         static_cast<xcb_destroy_notify_event_t*>(event)->window == m_tray;
    if (hasCome || hasGone)
        findTray();
    return false;
}

void TrayHostWatch::look()
{
    if (m_hasNotifierHost)
        decide(Kind::StatusNotifier);
    // Qt asks the watcher too, with a call that waits: not while it does not answer.
    else if (m_tray == XCB_WINDOW_NONE || m_notifierQuestion.isAsked())
        m_grace.stop();
    else if (!m_grace.isActive())
        m_grace.start();
}

void TrayHostWatch::decide(Kind kind)
{
    if (m_isDecided)
        return;
    m_isDecided = true;
    qCInfo(lcTray) << "the icon is for" << kind;
    m_grace.stop();
    m_notifierQuestion.forget();
    disconnect(&m_notifierWatcher, nullptr, this, nullptr);
    qGuiApp->removeNativeEventFilter(this);
    Q_EMIT hostAvailable(kind);
}

} // namespace platform::gui
