// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/idle_source.h"
#include "platform/idle_time.h"

#include <QString>

#include <vector>

namespace platform::desktop {

/// The idle time as the best of several sources knows it: the first one that is there. Unknown
/// where none is.
/// Main thread.
class IdleChoice final : public IdleTime
{
public:
    /// Adds the next best source, which must outlive this.
    void add(IdleSource& source);

    /// Whether a source is still being asked that would be chosen.
    [[nodiscard]] bool isUndecided() const;

    /// The name of what answers; empty when nothing does.
    [[nodiscard]] QString nameOfChosen() const;

    [[nodiscard]] double secondsSinceLastInput() override;

private:
    [[nodiscard]] IdleSource* present() const;

    std::vector<IdleSource*> m_sources;
};

} // namespace platform::desktop
