// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gui/window_activation.h"

#include <QEvent>
#include <QGuiApplication>

namespace platform::gui {

namespace {

/// A window of the application's own, not a menu, a tooltip or a part of another window.
bool isApplicationWindow(const QWindow& window)
{
    return window.isTopLevel() && (window.type() == Qt::Window || window.type() == Qt::Dialog);
}

} // namespace

WindowActivation::WindowActivation()
    : m_x11(X11WindowHints::create())
{
    qApp->installEventFilter(this);
}

void WindowActivation::activateIgnoringOtherApps(const ActivationToken& token)
{
    const QByteArray value = token.value.toUtf8();
    // Where the toolkit looks for it; it takes it away with the next activation.
    if (!m_x11 && !value.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", value);
    if (m_last && m_last->isVisible())
        bringForward(*m_last);
    if (m_x11)
        m_x11->finishStartup(value);
}

void WindowActivation::bringForward(QWindow& window)
{
    window.raise();
    window.requestActivate();
    if (!m_x11)
        return;
    m_awaited = window.isExposed() ? nullptr : &window;
    if (!m_awaited)
        m_x11->bringForward(window);
}

void WindowActivation::setActivationPolicy(ActivationPolicy policy)
{
    m_policy = policy;
    for (const QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible() && isApplicationWindow(*window))
            applyPolicy(*window);
    }
}

void WindowActivation::applyPolicy(const QWindow& window) const
{
    if (m_x11)
        m_x11->setSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
}

bool WindowActivation::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::Show && type != QEvent::FocusIn && type != QEvent::Expose)
        return false;
    auto* const window = qobject_cast<QWindow*>(watched);
    if (!window || !isApplicationWindow(*window))
        return false;
    if (type == QEvent::Show) { // the window is about to appear
        if (m_x11)
            m_x11->setClass(*window);
        applyPolicy(*window);
    }
    if (type == QEvent::Expose && window == m_awaited && window->isExposed())
        bringForward(*window);
    if (type != QEvent::Expose)
        m_last = window;
    return false;
}

} // namespace platform::gui
