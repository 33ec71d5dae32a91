// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/system_tray_item.h"

#include "backends/desktops/x11/x11_reply.h"

#include <QApplication>
#include <QByteArray>
#include <QCursor>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QLoggingCategory>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <QWindow>

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

const QString kSymbol = QStringLiteral(":/symbols/chart.bar.fill.svg");
const QString kTitle = QStringLiteral("Velomira");
constexpr std::chrono::milliseconds kTimeToRelease(50);
constexpr int kSizes[]{16, 22, 24, 32, 48, 64};

QPixmap drawn(QSvgRenderer& drawing, int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    drawing.render(&painter);
    // The drawing's own black gives way; what it covers stays.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), kPanelColor);
    painter.end();
    return QPixmap::fromImage(image);
}

/// The symbol in the panel's colour, at the sizes that panels use, drawn sharply at each.
QIcon symbolIcon()
{
    QSvgRenderer drawing(kSymbol);
    if (!drawing.isValid())
        return {};
    QIcon icon;
    for (const int size : kSizes)
        icon.addPixmap(drawn(drawing, size));
    return icon;
}

/// Gives the window that an X11 tray embeds its name; from the toolkit it has none that old panels
/// would read.
void nameEmbeddedWindow()
{
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        if (widget->inherits("QSystemTrayIconSys"))
            widget->setWindowTitle(kTitle);
    }
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

SystemTrayItem::SystemTrayItem(std::chrono::milliseconds xembedGrace)
    : m_watch(xembedGrace)
{
    m_grabAgain.setSingleShot(true);
    m_grabAgain.setInterval(kTimeToRelease);
    connect(&m_grabAgain, &QTimer::timeout, this, &SystemTrayItem::grabInput);
    connect(&m_watch, &TrayHostWatch::hostAvailable, this, &SystemTrayItem::make);
    m_watch.start();
}

SystemTrayItem::~SystemTrayItem()
{
    m_icon.reset(); // before the menu it shows
    if (m_popup)
        m_popup->menu().disconnect(this); // one that is open closes, when we are no more
}

void SystemTrayItem::setRows(const std::vector<MenuRow>& rows)
{
    m_rows = rows;
    if (m_popup)
        m_popup->setRows(rows);
    if (m_exported)
        m_exported->setRows(rows);
}

void SystemTrayItem::make(TrayHostWatch::Kind kind)
{
    m_icon = std::make_unique<QSystemTrayIcon>();
    m_popup = makeMenu(RowMenu::Reader::Popup);
    if (kind == TrayHostWatch::Kind::StatusNotifier)
        m_exported = makeMenu(RowMenu::Reader::DBusMenu);
    connect(&m_popup->menu(), &QMenu::aboutToHide, this, &SystemTrayItem::releaseInput);
    m_icon->setIcon(symbolIcon());
    m_icon->setToolTip(kTitle);
    m_icon->setContextMenu(m_exported ? &m_exported->menu() : &m_popup->menu());
    connect(m_icon.get(),
            &QSystemTrayIcon::activated,
            this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // The second of two clicks comes here only if the menu has gone in between.
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    openPopup();
            });
    m_icon->show();
    if (kind == TrayHostWatch::Kind::XEmbed)
        nameEmbeddedWindow();
    Q_EMIT made(kind);
}

std::unique_ptr<RowMenu> SystemTrayItem::makeMenu(RowMenu::Reader reader)
{
    auto menu = std::make_unique<RowMenu>(reader);
    menu->setRows(m_rows);
    connect(&menu->menu(), &QMenu::aboutToShow, this, &StatusItem::aboutToShow);
    // When the menu is through with it: the owner may open windows, end the program or change rows.
    connect(menu.get(), &RowMenu::picked, this, &StatusItem::chosen, Qt::QueuedConnection);
    return menu;
}

void SystemTrayItem::openPopup()
{
    QMenu& menu = m_popup->menu();
    if (menu.isVisible()) {
        menu.close();
        return;
    }
    menu.popup(QCursor::pos());
    grabInput();
}

// The panel may still hold the pointer for the button that is down. Without it the menu would not
// see the click elsewhere that is to close it.
void SystemTrayItem::grabInput()
{
    QWindow* const window = m_popup->menu().windowHandle();
    if (window == nullptr || !window->isVisible())
        return;
    const bool hasPointer = window->setMouseGrabEnabled(true);
    const bool hasKeys = window->setKeyboardGrabEnabled(true);
    if (!hasPointer || !hasKeys)
        m_grabAgain.start();
}

void SystemTrayItem::releaseInput()
{
    m_grabAgain.stop();
    if (QWindow* const window = m_popup->menu().windowHandle()) {
        window->setMouseGrabEnabled(false);
        window->setKeyboardGrabEnabled(false);
    }
}

} // namespace platform::gui
