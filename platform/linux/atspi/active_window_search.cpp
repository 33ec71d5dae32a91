// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/active_window_search.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"

#include <QTimer>

namespace platform::atspi {

namespace {
constexpr qsizetype kMostPrograms = 256;
constexpr qsizetype kMostWindows = 64; // of one program
constexpr int kAtOnce = 16;
} // namespace

ActiveWindowSearch::ActiveWindowSearch(AccessibilityBus& bus)
    : m_bus(bus)
{
}

void ActiveWindowSearch::start()
{
    const bool isAsked = m_bus.askForPrograms(this, [this](const QDBusMessage& reply) {
        m_programs = objectsIn(reply, kMostPrograms).value_or(QList<AccessibleObject>());
        next();
    });
    if (!isAsked)
        QTimer::singleShot(0, this, &ActiveWindowSearch::next);
}

void ActiveWindowSearch::next()
{
    while (m_open < kAtOnce && (!m_windows.isEmpty() || !m_programs.isEmpty())) {
        if (!m_windows.isEmpty())
            askForState(m_windows.takeLast());
        else
            askForWindows(m_programs.takeLast());
    }
    if (m_open == 0)
        Q_EMIT finished(m_active.size() == 1 ? std::optional(m_active.constFirst()) : std::nullopt);
}

void ActiveWindowSearch::askForWindows(const AccessibleObject& program)
{
    const bool isAsked =
        m_bus.ask(program, QStringLiteral("GetChildren"), this, [this](const QDBusMessage& reply) {
            m_windows += objectsIn(reply, kMostWindows).value_or(QList<AccessibleObject>());
            --m_open;
            next();
        });
    m_open += isAsked ? 1 : 0;
}

void ActiveWindowSearch::askForState(const AccessibleObject& window)
{
    const bool isAsked = m_bus.ask(
        window, QStringLiteral("GetState"), this, [this, window](const QDBusMessage& reply) {
            if (hasState(statesIn(reply).value_or(0), kStateActive))
                m_active.append(window);
            --m_open;
            next();
        });
    m_open += isAsked ? 1 : 0;
}

} // namespace platform::atspi
