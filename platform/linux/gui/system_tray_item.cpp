// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/system_tray_item.h"

#include "platform/linux/gui/symbol_icon.h"

#include <QApplication>
#include <QCursor>
#include <QWindow>

namespace platform::gui {

namespace {
const QString kSymbol = QStringLiteral("chart.bar.fill");
const QString kTitle = QStringLiteral("Velomira");
constexpr std::chrono::milliseconds kTimeToRelease(50);

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
    m_icon->setIcon(symbolIcon(kSymbol, kPanelColor));
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
