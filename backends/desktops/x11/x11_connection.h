// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/display_connection.h"
#include "backends/desktops/x11/x11_numbers.h"
#include "backends/desktops/x11/x11_reply.h"
#include "base/result.h"

#include <QLoggingCategory>
#include <QString>

#include <cstdint>
#include <memory>
#include <xcb/xcb.h>

namespace platform::x11 {

/// "velomira.x11". No titles, no names of applications.
Q_DECLARE_LOGGING_CATEGORY(lcX11)

/// A connection to an X server. What the server sends is read when somebody asks for it and wakes
/// nobody; only its end does.
/// Main thread, with an event loop.
class X11Connection final : public desktop::DisplayConnection
{
    Q_OBJECT
public:
    /// Connects to the server `display` (":1"), or to $DISPLAY when that is empty. Blocks until the
    /// server has answered. Fails, with the display's name in the text, when nobody does.
    [[nodiscard]] static Result<std::unique_ptr<X11Connection>> open(const QString& display = {});

    /// Whether a server answers under `display`, as open(). Needs no event loop.
    [[nodiscard]] static Outcome check(const QString& display = {});

    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;
    ~X11Connection() override;

    /// False from the moment that the server is known to be gone, for good, and while it has left a
    /// question unanswered for a second, until nextEvent() finds that it has sent something again.
    [[nodiscard]] bool isAlive() const { return !isLost() && !m_silent; }

    /// For sending requests. Replies are to be taken through reply(), or dropped by discard().
    [[nodiscard]] xcb_connection_t* get() const { return m_connection.get(); }

    /// The root window of the screen that the display's name selects.
    [[nodiscard]] xcb_window_t root() const { return m_root; }

    [[nodiscard]] const X11Atoms& atoms() const { return m_atoms; }

    [[nodiscard]] const X11Counters& counters() const { return m_counters; }

    /// Whether the server has the extension MIT-SCREEN-SAVER.
    [[nodiscard]] bool hasScreenSaver() const { return m_hasScreenSaver; }

    /// The reply to the request `sequence`, once only; null for an X error, while the server is not
    /// alive, and when it does not answer within a second. Blocks until the server has answered
    /// this request, which means all earlier ones too: taking the last reply of several first
    /// makes the others free.
    template <typename Reply> [[nodiscard]] X11Reply<Reply> reply(unsigned sequence)
    {
        return X11Reply<Reply>(static_cast<Reply*>(waitForReply(sequence)));
    }

    /// The next event that the server has sent, or error that it has reported; null when there is
    /// none yet. Never blocks.
    [[nodiscard]] X11Reply<xcb_generic_event_t> nextEvent();

    /// Drops the reply to the request `sequence`, whenever it comes. Never blocks.
    void discard(unsigned sequence) const;

    /// How often reply() had to wait for the server since the start.
    [[nodiscard]] std::uint64_t blockingWaits() const { return m_blockingWaits; }

private:
    struct Disconnect
    {
        void operator()(xcb_connection_t* connection) const noexcept;
    };

    using Handle = std::unique_ptr<xcb_connection_t, Disconnect>;

    X11Connection(Handle connection, int screen, const QString& name);

    void* waitForReply(unsigned sequence);

    Handle m_connection;
    xcb_window_t m_root;
    X11Atoms m_atoms;
    X11Counters m_counters;
    bool m_hasScreenSaver = false;
    bool m_silent = false;
    std::uint64_t m_blockingWaits = 0;
};

/// A request that was sent and whose reply nobody has taken yet. Dropping it drops the reply.
/// Not longer than its connection. Main thread.
template <typename Reply> class X11Pending final
{
public:
    X11Pending() = default;

    X11Pending(X11Connection& connection, unsigned sequence)
        : m_request(&connection, Discard{sequence})
    {
    }

    /// The reply; null for an X error, a lost connection or a second call. May block, see
    /// X11Connection::reply().
    [[nodiscard]] X11Reply<Reply> take()
    {
        X11Connection* const connection = m_request.release();
        return connection != nullptr
                   ? connection->template reply<Reply>(m_request.get_deleter().sequence)
                   : nullptr;
    }

private:
    struct Discard
    {
        unsigned sequence = 0;

        void operator()(const X11Connection* connection) const { connection->discard(sequence); }
    };

    /// Owned is the reply to come, not the connection.
    std::unique_ptr<X11Connection, Discard> m_request;
};

} // namespace platform::x11
