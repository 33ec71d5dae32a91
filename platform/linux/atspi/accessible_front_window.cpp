// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessible_front_window.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/front_window_watch.h"

namespace platform::atspi {

namespace {

desktop::Presence presenceOf(const AccessibilityBus& bus)
{
    if (bus.isOn())
        return desktop::Presence::Here;
    return bus.isAsking() ? desktop::Presence::Asking : desktop::Presence::Absent;
}

} // namespace

AccessibleFrontWindow::AccessibleFrontWindow(AccessibilityBus& bus)
    : m_bus(bus)
    , m_watch(std::make_unique<FrontWindowWatch>(bus))
    , m_presence(presenceOf(bus))
{
    connect(&m_bus, &AccessibilityBus::changed, this, &AccessibleFrontWindow::look);
}

AccessibleFrontWindow::~AccessibleFrontWindow() = default;

QString AccessibleFrontWindow::name() const
{
    return QStringLiteral("accessibility bus");
}

desktop::Presence AccessibleFrontWindow::presence() const
{
    return m_presence;
}

std::optional<desktop::FrontWindow> AccessibleFrontWindow::frontWindow() const
{
    m_watch->refresh();
    return m_watch->front();
}

QString AccessibleFrontWindow::advice() const
{
    if (m_presence != desktop::Presence::Absent)
        return {};
    return QStringLiteral("Accessibility is off. Where the desktop tells nothing else of its "
                          "windows, switch it on in "
                          "the desktop's settings and start programs anew.");
}

void AccessibleFrontWindow::look()
{
    const desktop::Presence presence = presenceOf(m_bus);
    if (presence == m_presence)
        return;
    m_presence = presence;
    Q_EMIT presenceChanged();
}

} // namespace platform::atspi
