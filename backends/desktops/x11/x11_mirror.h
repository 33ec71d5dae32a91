// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"
#include "backends/desktops/x11/x11_connection.h"

#include <QString>
#include <QTimer>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <xcb/sync.h>
#include <xcb/xcb.h>

namespace platform::x11 {

/// A cache of what the X server holds of the focused window (EWMH) and of the user's last input.
/// The server tells of changes, which is read when somebody asks; only what has changed is asked
/// for again, and all of it once in 60 times. The idle time is the first question of a tick: within
/// a tenth of a second its answer also serves the one for the window in front. One round trip
/// answers everything that has changed, a second one is needed where another window has the focus.
/// Nothing has changed: no request is sent. Main thread, with an event loop.
class X11Mirror final
{
public:
    /// `connection` must outlive the mirror.
    explicit X11Mirror(X11Connection& connection);

    /// Seconds since the last input, exact while the user is idle for a second or longer; below
    /// that it may be any lower value. Only for a server with MIT-SCREEN-SAVER. Not-a-number where
    /// the server does not answer.
    [[nodiscard]] double idleSeconds();

    /// Looks at the window in front anew, unless the idle time has just been asked for.
    void update();

    /// The window that had the focus then. None when the window manager says so or does not run,
    /// the window has gone or was withdrawn, or it is the desktop or one that the window manager
    /// does not manage. A window manager that moves the focus may say "none" on the way: that
    /// counts once it has said so for a tenth of a second.
    /// Identifiers are _GTK_APPLICATION_ID, then class and instance of WM_CLASS; the process only
    /// one of this machine. The title is _NET_WM_NAME when it is there, even if empty, else
    /// WM_NAME; what exceeds 16 KiB is cut off.
    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const;

private:
    using Clock = std::chrono::steady_clock;
    using Property = X11Pending<xcb_get_property_reply_t>;

    /// Parts of the mirror, as bits.
    using Parts = unsigned;
    static constexpr Parts kIdle = 1U;
    static constexpr Parts kRoot = 2U;   ///< which window is active, which is the check window
    static constexpr Parts kCheck = 4U;  ///< whether the check window names itself
    static constexpr Parts kWindow = 8U; ///< all of the active window
    static constexpr Parts kTitle = 16U; ///< its title alone
    static constexpr Parts kAll = 31U;

    struct TitleRequest
    {
        Property netWmName;
        Property wmName;
    };

    struct WindowRequest
    {
        Property gtkApplicationId;
        Property windowClass;
        Property pid;
        Property clientMachine;
        Property windowType;
        Property wmState;
        X11Pending<xcb_get_window_attributes_reply_t> attributes;
    };

    void refresh();
    void takeEvents();
    void note(const xcb_generic_event_t& event);
    void noteDestroyed(xcb_window_t window);
    void noteProperty(const xcb_property_notify_event_t& event);
    void ask(Parts parts);
    void readRoot(xcb_window_t active, xcb_window_t check, std::optional<std::uint32_t> serverTime);
    void listen();
    void stopListening();
    void select(xcb_window_t window, std::uint32_t events) const;
    [[nodiscard]] Property request(xcb_window_t window, xcb_atom_t property);
    [[nodiscard]] std::optional<desktop::FrontWindow> read(WindowRequest request) const;
    [[nodiscard]] std::optional<QString> readTitle(TitleRequest request) const;

    X11Connection& m_connection;
    Parts m_stale = kAll;
    bool m_isListening = false;
    std::array<xcb_sync_alarm_t, 2> m_alarms{};
    int m_looksUntilAll = 0;
    QTimer m_rest; // runs out when nobody asks any more

    xcb_window_t m_check = XCB_WINDOW_NONE;
    bool m_hasManager = false;
    xcb_window_t m_active = XCB_WINDOW_NONE;
    std::optional<desktop::FrontWindow> m_focused; // the active window, if it counts
    /// The server's time of the first change of the active window since one was read.
    std::optional<xcb_timestamp_t> m_leftAt;
    /// Since when there is none after m_active.
    std::optional<Clock::time_point> m_noneSince;

    double m_idle = 0; // as of m_idleAskedAt
    Clock::time_point m_idleAskedAt;

    Clock::time_point m_servesWindow; // when a question was answered that serves update(), too
};

} // namespace platform::x11
