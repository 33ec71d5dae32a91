// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"
#include "backends/desktops/wayland/wayland_connection.h"

#include <chrono>
#include <cstdint>
#include <optional>

struct ext_idle_notification_v1;
struct org_kde_kwin_idle_timeout;
struct wl_seat;

namespace platform::wayland {

/// How long the user has been idle, by a peer that tells only when input has been missing for
/// kNotice and when it comes back.
///
/// The clock is the one that compositors count by, CLOCK_MONOTONIC: it stands still while the
/// machine sleeps. With one that goes on, the time asleep would count as idle from the moment of
/// waking until the first event, though nobody could have used the machine, and a notice that the
/// compositor owes would come a second later all the same.
/// One thread at a time.
class IdleSpan final
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// What the peer is to be asked for.
    static constexpr std::chrono::milliseconds kNotice{1000};

    /// The peer has been asked; it counts from now on.
    void start(TimePoint now);
    /// Input has been missing for kNotice.
    void idled(TimePoint now);
    /// There is input again.
    void resumed();
    /// Nobody tells any more.
    void forget();

    /// Seconds since the last input, at least 0: exact to how fast notices come while the user is
    /// idle; 0 for anything below kNotice, which cannot be known. Not-a-number before the peer has
    /// told or has had the time to, and while nobody tells.
    [[nodiscard]] double secondsAt(TimePoint now) const;

private:
    enum class State : std::uint8_t { Untold, Asked, Active, Idle };

    State m_state = State::Untold;
    TimePoint m_since; // of the question, or of the last input when idle
};

/// Idle time by the protocol ext-idle-notify or, where that is missing, by KDE's older one, for the
/// compositor's first seat.
/// Version 2 of ext-idle-notify tells of input. Before it there is only what keeps a screen on: a
/// video that is playing counts as activity there.
/// Main thread, with an event loop.
class WaylandIdleTime final : public desktop::IdleSource
{
    Q_OBJECT

public:
    /// `connection` must outlive this.
    explicit WaylandIdleTime(WaylandConnection& connection);
    WaylandIdleTime(const WaylandIdleTime&) = delete;
    WaylandIdleTime& operator=(const WaylandIdleTime&) = delete;
    ~WaylandIdleTime() override;

    /// With the version that is in use: "ext_idle_notifier_v1, version 2".
    [[nodiscard]] QString name() const override;

    /// Never Asking: what a compositor offers is known from the connection's start. Absent also
    /// without a seat.
    [[nodiscard]] desktop::Presence presence() const override;

    [[nodiscard]] double secondsSinceLastInput() override;

Q_SIGNALS:
    /// There is input again after a second without.
    void resumed();

private:
    struct Listeners;

    enum class Protocol : std::uint8_t { ExtIdleNotify, KdeIdle };

    /// What tells, and of whom.
    struct Choice
    {
        Protocol protocol{};
        WaylandGlobal notifier;
        WaylandGlobal seat;

        bool operator==(const Choice&) const = default;
    };

    [[nodiscard]] std::optional<Choice> choose() const;
    void followGlobals();
    void ask(const Choice& choice);
    void askExtIdleNotify(const WaylandGlobal& global);
    void askKdeIdle(const WaylandGlobal& global);
    void release();

    WaylandConnection& m_connection;
    std::optional<Choice> m_choice;
    WaylandOwned<wl_seat> m_seat{nullptr, nullptr};
    WaylandOwned<ext_idle_notification_v1> m_notification{nullptr, nullptr};
    WaylandOwned<org_kde_kwin_idle_timeout> m_timeout{nullptr, nullptr};
    IdleSpan m_span;
};

} // namespace platform::wayland
