// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/presence.h"
#include "platform/idle_time.h"

#include <QObject>
#include <QString>

namespace platform::desktop {

/// One way in which a desktop tells how long the user has been idle.
/// Main thread, with an event loop.
class IdleSource : public QObject, public IdleTime
{
    Q_OBJECT

public:
    IdleSource() = default;
    IdleSource(const IdleSource&) = delete;
    IdleSource& operator=(const IdleSource&) = delete;
    ~IdleSource() override = default;

    /// The protocol's or interface's name, for --diagnose.
    [[nodiscard]] virtual QString name() const = 0;

    [[nodiscard]] virtual Presence presence() const = 0;

    /// Seconds since the last input by the latest that is known, at least 0; not-a-number while
    /// unknown. Never waits.
    [[nodiscard]] double secondsSinceLastInput() override = 0;

Q_SIGNALS:
    /// The presence is another one now.
    void presenceChanged();
};

} // namespace platform::desktop
