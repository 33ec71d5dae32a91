// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/window_activation.h"

#include "backends/posix/timer_slack.h"

#include <QEvent>
#include <QGuiApplication>

#include <algorithm>
#include <ranges>

namespace platform::gui {

namespace {

/// A window of the application's own, not a menu, a tooltip or a part of another window.
bool isApplicationWindow(const QWindow& window)
{
    return window.isTopLevel() && (window.type() == Qt::Window || window.type() == Qt::Dialog);
}

/// Whether an event that a window gets is the user's own doing.
bool isInput(QEvent::Type type)
{
    return type == QEvent::KeyPress || type == QEvent::MouseButtonPress ||
           type == QEvent::TouchBegin || type == QEvent::TabletPress;
}

} // namespace

WindowActivation::WindowActivation()
    : m_x11(X11WindowHints::create())
{
}

void WindowActivation::setHasWindows(bool hasWindows)
{
    m_hasWindows = hasWindows;
    if (hasWindows)
        qApp->installEventFilter(this);
    else
        qApp->removeEventFilter(this);
    posix::letTimersWait(!hasWindows);
}

void WindowActivation::windowAskedFor(QWindow& window)
{
    noteUse(window);
    // It has come unless another window is about to get the focus from it.
    m_hasComeForward = window.isActive() && (!m_asked || m_hasComeForward);
    m_asked = &window;
    if (!m_hasComeForward)
        m_awaitingFocus.emplace_back(&window);
}

void WindowActivation::activateIgnoringOtherApps(const ActivationToken& token)
{
    const QByteArray value = token.value.toUtf8();
    // Where the toolkit looks for it; it takes it away with the next activation.
    if (!m_x11 && !value.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", value);
    if (QWindow* const window = usedLast())
        bringForward(*window);
    if (m_x11)
        m_x11->finishStartup(value);
}

void WindowActivation::bringForward(QWindow& window)
{
    // For a window on its way to the screen the toolkit asks when it is there: of windows asked for
    // one after the other, for the first perhaps after the last has come forward.
    m_awaited = m_x11 && !window.isExposed() ? &window : nullptr;
    if (!m_awaited) {
        window.raise();
        window.requestActivate();
    }
    // The window manager gets it after the request to show the window, and before any for a window
    // that is asked for later.
    if (m_x11)
        m_x11->bringForward(window);
}

void WindowActivation::noteUse(QWindow& window)
{
    std::erase_if(m_used, [&window](const auto& used) { return !used || used == &window; });
    m_used.emplace_back(&window);
}

QWindow* WindowActivation::usedLast() const
{
    const auto found = std::ranges::find_if(m_used | std::views::reverse, [](const auto& window) {
        return window && window->isVisible() && window->visibility() != QWindow::Minimized;
    });
    return found == m_used.rend() ? nullptr : found->data();
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
    if (type != QEvent::Show && type != QEvent::FocusIn && type != QEvent::Expose && !isInput(type))
        return false;
    auto* const window = qobject_cast<QWindow*>(watched);
    if (!window || !isApplicationWindow(*window))
        return false;
    if (type == QEvent::Expose) {
        // Again: it may not have been taken into account yet, and without a window manager that
        // knows the message it has not been.
        if (window == m_awaited && window->isExposed())
            bringForward(*window);
        return false;
    }
    if (type == QEvent::Show) { // the window is about to appear
        if (m_x11)
            m_x11->setClass(*window);
        applyPolicy(*window);
    }
    // Of windows that were asked for together the window manager may give the focus to an earlier
    // one last: the first focus after being asked for is nobody's choice.
    const bool isFirst =
        type == QEvent::FocusIn &&
        std::erase_if(m_awaitingFocus, [window](const auto& w) { return !w || w == window; }) > 0;
    if (type == QEvent::FocusIn && window == m_asked)
        m_hasComeForward = true;
    else if (isInput(type) || (type == QEvent::FocusIn && m_hasComeForward && !isFirst))
        m_asked = nullptr;
    noteUse(*window);
    if (m_asked)
        noteUse(*m_asked);
    if (m_awaited != m_used.back())
        m_awaited = nullptr; // another one is in use by the time it comes
    return false;
}

} // namespace platform::gui
