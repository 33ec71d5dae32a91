// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/x11/x11_pending.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <optional>
#include <xcb/xcb.h>

namespace platform::x11 {

/// What the focused window says about itself.
struct FocusedWindow
{
    xcb_window_t window = XCB_WINDOW_NONE;
    /// What may lead to its application, the most telling first, without empty ones:
    /// _GTK_APPLICATION_ID, then class and instance of WM_CLASS.
    QStringList identifiers;
    /// Its process on this machine, 0 when it does not say or runs elsewhere.
    std::int32_t processIdentifier = 0;
};

/// Asks the X server for the focused window (EWMH), everything in one batch of requests: while the
/// focus stays where it was, one round trip serves a whole tick, idle time included. Only when
/// another window has the focus a second one is needed. No answer is kept for a later tick.
/// Main thread.
class X11WindowQuery final
{
public:
    /// `connection` must outlive the query.
    explicit X11WindowQuery(X11Connection& connection);

    /// Sends the requests without waiting, so that the answer to whatever is asked next brings
    /// theirs along. An earlier batch that nobody has read is dropped.
    void sendAhead();

    /// The window that has the focus now. None when the window manager says so or does not run,
    /// the window has gone or was withdrawn, or it is the desktop or one that the window manager
    /// does not manage. Uses the batch sent ahead in this tick, at most a tenth of a second ago,
    /// else sends one; at most two round trips.
    [[nodiscard]] std::optional<FocusedWindow> focusedWindow();

    /// The title of `window`: _NET_WM_NAME when it is there, even if empty, else WM_NAME; what
    /// exceeds 16 KiB is cut off. None when it has neither or has gone. Asked once right after
    /// focusedWindow() has answered that window, it is the title of that moment and costs nothing;
    /// otherwise one round trip.
    [[nodiscard]] std::optional<QString> titleOf(xcb_window_t window);

private:
    using Clock = std::chrono::steady_clock;
    using Property = X11Pending<xcb_get_property_reply_t>;

    struct TitleRequest
    {
        Property netWmName;
        Property wmName;
    };

    struct WindowRequest
    {
        xcb_window_t window = XCB_WINDOW_NONE;
        TitleRequest title;
        Property gtkApplicationId;
        Property windowClass;
        Property pid;
        Property clientMachine;
        Property windowType;
        Property wmState;
        X11Pending<xcb_get_window_attributes_reply_t> attributes;
    };

    /// The member order is the order of sending; the last is taken first, which waits for all.
    struct Batch
    {
        Clock::time_point sentAt;
        std::optional<WindowRequest> window;
        xcb_window_t checkWindow = XCB_WINDOW_NONE;
        Property checkOfWindow;
        Property checkOfRoot;
        Property activeWindow;
    };

    struct KnownTitle
    {
        Clock::time_point askedAt;
        xcb_window_t window = XCB_WINDOW_NONE;
        std::optional<QString> title;
    };

    [[nodiscard]] Property request(xcb_window_t window, xcb_atom_t property);
    [[nodiscard]] TitleRequest requestTitle(xcb_window_t window);
    [[nodiscard]] WindowRequest requestWindow(xcb_window_t window);
    [[nodiscard]] Batch send();
    [[nodiscard]] std::optional<QString> takeTitle(TitleRequest request);
    [[nodiscard]] std::optional<FocusedWindow> take(WindowRequest request,
                                                    Clock::time_point sentAt);

    X11Connection& m_connection;
    std::optional<Batch> m_ahead;
    /// The windows that the next batch is most likely to need, no more than a guess.
    xcb_window_t m_likelyWindow = XCB_WINDOW_NONE;
    xcb_window_t m_likelyCheckWindow = XCB_WINDOW_NONE;
    std::optional<KnownTitle> m_title;
};

} // namespace platform::x11
