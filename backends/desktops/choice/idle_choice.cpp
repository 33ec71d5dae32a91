// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/idle_choice.h"

#include "backends/desktops/choice/log.h"

#include <algorithm>
#include <limits>

namespace platform::desktop {

void IdleChoice::add(IdleSource& source)
{
    m_sources.push_back(&source);
    const auto log = [&source] {
        qCInfo(lcWindows) << "idle time by" << source.name() << "is" << nameOf(source.presence());
    };
    QObject::connect(&source, &IdleSource::presenceChanged, &source, log);
    log();
}

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

QString IdleChoice::nameOfChosen() const
{
    const IdleSource* const source = present();
    return source != nullptr && source->presence() == Presence::Here ? source->name() : QString();
}

double IdleChoice::secondsSinceLastInput()
{
    IdleSource* const source = present();
    return source != nullptr ? source->secondsSinceLastInput()
                             : std::numeric_limits<double>::quiet_NaN();
}

} // namespace platform::desktop
