// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/window_view.h"

#include "shell/app_menu.h"

#include <QEvent>
#include <QQuickItem>

#include <utility>

namespace views {

WindowActions::WindowActions(shell::AppMenu& menu, QWindow& window)
    : QObject(&window)
    , m_menu(menu)
    , m_window(window)
{
}

QStringList WindowActions::shortcuts()
{
    // All there can be: rows come and go with the state, the window stays.
    return {QStringLiteral("Ctrl+D"), QStringLiteral("Ctrl+,"), QStringLiteral("Ctrl+Q")};
}

void WindowActions::choose(const QString& shortcut)
{
    m_menu.chooseByShortcut(shortcut);
}

void WindowActions::close()
{
    QMetaObject::invokeMethod(&m_window, "close", Qt::QueuedConnection);
}

WindowView::WindowView(QQmlEngine& engine)
    : QQuickView(&engine, nullptr)
{
    connect(this, &QWindow::visibilityChanged, this, &WindowView::noteOnScreen);
}

WindowView::~WindowView()
{
    // Before what it shows, which would leave its bindings without their objects.
    delete rootObject();
}

void WindowView::load(const Content& content)
{
    const bool isResizable = !content.resizableFrom.isEmpty();
    setResizeMode(isResizable ? SizeRootObjectToView : SizeViewToRootObject);
    if (isResizable) {
        setMinimumSize(content.resizableFrom);
        resize(content.resizableFrom);
    }
    setInitialProperties(content.properties);
    setSource(content.source);
    if (isResizable || !rootObject())
        return;
    connect(rootObject(), &QQuickItem::heightChanged, this, &WindowView::fitToView);
    connect(rootObject(), &QQuickItem::widthChanged, this, &WindowView::fitToView);
    fitToView();
}

void WindowView::fitToView()
{
    const QSize wanted = rootObject()->size().toSize();
    // In this order, so that the smallest size is never above the largest.
    setMinimumSize(minimumSize().boundedTo(wanted));
    setMaximumSize(wanted);
    setMinimumSize(wanted);
    resize(wanted);
}

bool WindowView::isOnScreen() const
{
    return isVisible() && isExposed() && visibility() != QWindow::Minimized;
}

void WindowView::noteOnScreen()
{
    const bool now = isOnScreen();
    if (now != std::exchange(m_wasOnScreen, now))
        Q_EMIT onScreenChanged(now);
}

bool WindowView::event(QEvent* event)
{
    const bool handled = QQuickView::event(event);
    if (event->type() == QEvent::Close && event->isAccepted())
        Q_EMIT closed();
    return handled;
}

void WindowView::exposeEvent(QExposeEvent* event)
{
    noteOnScreen();
    QQuickView::exposeEvent(event);
}

} // namespace views
