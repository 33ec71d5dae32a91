// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/bus_name_owner.h"
#include "backends/desktops/choice/sources.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QTimer>
#include <QVariant>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace platform::gnome {

/// Idle time as Mutter, the compositor in GNOME Shell, tells it. Mutter reports when a second has
/// passed without input and when there is input again; in between nothing is exchanged. While the
/// user is active the answer is 0, although up to a second may have passed.
/// Mutter's clock and this one's stand still while the machine sleeps, so the two stay together:
/// sleep neither counts as idle time nor ends it. Input that wakes the machine is reported as any
/// other.
/// Main thread, with an event loop.
class MutterIdleTime final : public desktop::IdleSource
{
    Q_OBJECT

public:
    explicit MutterIdleTime(const QDBusConnection& sessionBus);

    [[nodiscard]] QString name() const override;

    [[nodiscard]] desktop::Presence presence() const override { return m_presence; }

    [[nodiscard]] double secondsSinceLastInput() override;

private:
    // As CLOCK_MONOTONIC, which Mutter goes by.
    using Clock = std::chrono::steady_clock;

    Q_SLOT void hearWatch(const QDBusMessage& message);
    void followOwner();
    void begin();
    void forget();
    void awaitInput();
    void askIdleTime();
    void call(dbus::Question& question,
              const QString& method,
              const QVariantList& arguments,
              std::function<void(const QVariant& answer)> take);
    void fail(const QDBusError& error);
    void tell(desktop::Presence presence);

    QDBusConnection m_bus;
    desktop::BusNameOwner m_mutter;
    QString m_peer; ///< whom we ask; empty: nobody
    dbus::Question m_idleWatchCall;
    dbus::Question m_inputWatchCall;
    dbus::Question m_idleTimeCall;
    std::uint32_t m_idleWatch = 0;  ///< tells of a second without input, each time
    std::uint32_t m_inputWatch = 0; ///< tells of the next input, once
    bool m_isActive = false;        ///< no second without input has been told of since the last one
    std::optional<Clock::time_point> m_lastInput;
    QTimer m_retry;
    desktop::Presence m_presence = desktop::Presence::Asking;
};

} // namespace platform::gnome
