// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/frame_search.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"

#include <QTimer>

#include <utility>

namespace platform::atspi {

namespace {
constexpr qsizetype kMostWindows = 256;
constexpr qsizetype kMostOfOneTitle = 16;
constexpr int kAtOnce = 16;
} // namespace

FrameSearch::FrameSearch(AccessibilityBus& bus,
                         AccessibleObject program,
                         QString title,
                         bool isActiveTrusted)
    : m_bus(bus)
    , m_program(std::move(program))
    , m_title(std::move(title))
    , m_isActiveTrusted(isActiveTrusted)
{
}

void FrameSearch::start()
{
    const bool isAsked = m_bus.ask(
        m_program, QStringLiteral("GetChildren"), this, [this](const QDBusMessage& reply) {
            const auto windows = objectsIn(reply, kMostWindows);
            if (!windows) {
                Q_EMIT finished(std::nullopt, true);
                return;
            }
            m_windows = *windows;
            next();
        });
    if (!isAsked)
        QTimer::singleShot(0, this, &FrameSearch::next);
}

void FrameSearch::next()
{
    while (m_open < kAtOnce && !m_windows.isEmpty())
        askForName(m_windows.takeLast());
    if (m_open == 0)
        choose();
}

void FrameSearch::askForName(const AccessibleObject& window)
{
    const bool isAsked = m_bus.getText(
        window, QStringLiteral("Name"), this, [this, window](const QDBusMessage& reply) {
            if (textPropertyIn(reply) == m_title)
                m_titled.append(window);
            --m_open;
            next();
        });
    m_open += isAsked ? 1 : 0;
}

void FrameSearch::choose()
{
    if (m_titled.size() == 1) {
        Q_EMIT finished(m_titled.constFirst(), false);
        return;
    }
    if (m_isActiveTrusted && m_titled.size() <= kMostOfOneTitle) {
        for (const AccessibleObject& window : m_titled)
            askForState(window);
    }
    if (m_open == 0)
        Q_EMIT finished(std::nullopt, false);
}

void FrameSearch::askForState(const AccessibleObject& window)
{
    const bool isAsked = m_bus.ask(
        window, QStringLiteral("GetState"), this, [this, window](const QDBusMessage& reply) {
            if (hasState(statesIn(reply).value_or(0), kStateActive))
                m_active.append(window);
            --m_open;
            settle();
        });
    m_open += isAsked ? 1 : 0;
}

void FrameSearch::settle()
{
    if (m_open == 0)
        Q_EMIT finished(m_active.size() == 1 ? std::optional(m_active.constFirst()) : std::nullopt,
                        false);
}

} // namespace platform::atspi
