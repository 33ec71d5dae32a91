// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

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

} // namespace platform::wayland
