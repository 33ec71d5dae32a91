// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/idle_choice.h"

#include <algorithm>
#include <limits>

namespace platform::desktop {

IdleSource* IdleChoice::present() const
{
    const auto found = std::ranges::find_if(
        m_sources, [](const IdleSource* source) { return source->presence() != Presence::Absent; });
    return found == m_sources.end() ? nullptr : *found;
}

bool IdleChoice::isUndecided() const
{
    const IdleSource* const source = present();
    return source != nullptr && source->presence() == Presence::Asking;
}

void IdleChoice::setLastResort(const QString& name, IdleTime& idleTime)
{
    m_lastResortName = name;
    m_lastResort = &idleTime;
}

QString IdleChoice::nameOfChosen() const
{
    const IdleSource* const source = present();
    if (source == nullptr)
        return m_lastResortName;
    return source->presence() == Presence::Here ? source->name() : QString();
}

double IdleChoice::secondsSinceLastInput()
{
    IdleTime* const source = present();
    IdleTime* const chosen = source != nullptr ? source : m_lastResort;
    return chosen != nullptr ? chosen->secondsSinceLastInput()
                             : std::numeric_limits<double>::quiet_NaN();
}

} // namespace platform::desktop
