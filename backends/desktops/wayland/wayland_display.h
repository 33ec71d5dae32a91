// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QDeadlineTimer>
#include <QString>

#include <cstdint>
#include <memory>

struct wl_display;

namespace platform::wayland {

/// An object of Wayland's, with what ends it.
template <typename Object> using WaylandOwned = std::unique_ptr<Object, void (*)(Object*)>;

/// The socket to a compositor and the objects on it, without an event loop.
/// One thread at a time.
class WaylandDisplay final
{
public:
    /// How sending went.
    enum class Sent : std::uint8_t {
        All,    ///< Everything is on its way.
        Partly, ///< The socket is full; to be tried again when it can be written to.
        Lost,   ///< The compositor has gone.
    };

    /// Connects to `display`, a name in $XDG_RUNTIME_DIR or a full path; when that is empty, to
    /// $WAYLAND_DISPLAY. Never to a socket that was inherited ($WAYLAND_SOCKET): it is the
    /// toolkit's. Blocks until `deadline` at most, while the compositor is too busy to accept.
    [[nodiscard]] static Result<std::unique_ptr<WaylandDisplay>>
    connectTo(const QString& display, const QDeadlineTimer& deadline);

    WaylandDisplay(const WaylandDisplay&) = delete;
    WaylandDisplay& operator=(const WaylandDisplay&) = delete;
    ~WaylandDisplay();

    /// The name that it was connected by ("wayland-1").
    [[nodiscard]] const QString& name() const { return m_name; }

    [[nodiscard]] wl_display* get() const { return m_display.get(); }

    /// The socket, for waiting only.
    [[nodiscard]] int descriptor() const;

    /// How many bytes have arrived that read() would take; 0 when the compositor has gone.
    [[nodiscard]] int unread() const;

    /// Takes what has arrived, up to what fits into a socket, and hands it to the listeners. False
    /// when the compositor has gone or broken the protocol. Never blocks.
    [[nodiscard]] bool read() const;

    /// Sends what is still to be sent. Never blocks.
    [[nodiscard]] Sent flush() const;

    /// Waits until the compositor has answered all requests so far, and hands what it sent to the
    /// listeners. Fails when it goes, breaks the protocol or does not answer before `deadline`.
    [[nodiscard]] Outcome roundTrip(const QDeadlineTimer& deadline) const;

private:
    WaylandDisplay(wl_display* display, QString name);

    WaylandOwned<wl_display> m_display;
    QString m_name;
};

} // namespace platform::wayland
