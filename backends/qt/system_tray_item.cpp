// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/system_tray_item.h"

#include <QApplication>
#include <QCursor>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <QWindow>

namespace platform::gui {

namespace {

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
