// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/display_connection.h"
#include "base/result.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct wl_display;
struct wl_interface;
struct wl_registry;

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

    /// Takes `display` over.
    WaylandDisplay(wl_display* display, QString name);

    /// Connects to `display`, a name in $XDG_RUNTIME_DIR or a full path; when that is empty, to
    /// $WAYLAND_DISPLAY. Never to a socket that was inherited ($WAYLAND_SOCKET): it is the
    /// toolkit's. Blocks until `deadline` at most, while the compositor is too busy to accept.
    [[nodiscard]] static Result<std::unique_ptr<WaylandDisplay>>
    connectTo(const QString& display, const QDeadlineTimer& deadline);

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
    WaylandOwned<wl_display> m_display;
    QString m_name;
};

/// "velomira.wayland". No titles, no names of applications.
Q_DECLARE_LOGGING_CATEGORY(lcWayland)

/// A facility as a compositor announces it. One that vanishes and returns has another name.
struct WaylandGlobal
{
    std::uint32_t name = 0;
    std::uint32_t version = 0;

    bool operator==(const WaylandGlobal&) const = default;
};

/// A connection to a Wayland compositor.
/// What the compositor sends after a calm is read at once; of what goes on coming a heap is read
/// every quarter of a second, sooner where it grows so fast that it might not fit into the socket:
/// a compositor hangs up on whom it cannot tell.
/// Main thread, with an event loop.
class WaylandConnection final : public desktop::DisplayConnection
{
    Q_OBJECT

public:
    /// A compositor that takes longer hangs. At the start of a session some seconds are nothing
    /// unusual, and KWin first reads our whole executable.
    static constexpr std::chrono::seconds kPatience{15};

    /// Connects to `display` ("wayland-1" or a full path), or to $WAYLAND_DISPLAY when that is
    /// empty. Blocks until the compositor has said what it offers, for `patience` at most. Fails,
    /// with the display's name in the text, when it does not.
    [[nodiscard]] static Result<std::unique_ptr<WaylandConnection>>
    open(const QString& display = {}, std::chrono::milliseconds patience = kPatience);

    /// Whether a compositor answers under `display`, as open(). Needs no event loop.
    [[nodiscard]] static Outcome check(const QString& display = {},
                                       std::chrono::milliseconds patience = kPatience);

    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;
    /// What was bound must be destroyed before.
    ~WaylandConnection() override;

    /// The display's name ("wayland-1").
    [[nodiscard]] const QString& name() const { return m_display->name(); }

    /// False from the moment that the compositor is known to be gone, for good.
    [[nodiscard]] bool isAlive() const { return !isLost(); }

    /// What is announced under the name of `interface`, the oldest of several; none while nothing
    /// is, and after a loss. Every interface is known here: none has to be registered.
    [[nodiscard]] std::optional<WaylandGlobal> global(const wl_interface& interface) const;

    /// An object for `global`, of its version but at most `highest`, as the type that `interface`
    /// stands for. The caller owns it.
    template <typename Object>
    [[nodiscard]] Object*
    bind(const WaylandGlobal& global, const wl_interface& interface, std::uint32_t highest)
    {
        return static_cast<Object*>(bindGlobal(global, interface, highest));
    }

    /// Has what was requested sent: at once, or as soon as the compositor takes it. Never blocks.
    void flush();

    /// Hands to the listeners what the compositor has sent until now. Never blocks.
    void catchUp();

Q_SIGNALS:
    /// Something has come or gone that global() tells of; with a loss everything.
    void globalsChanged();

    /// The listeners have been handed what had come.
    void caughtUp();

private:
    struct Listeners;

    struct Announced
    {
        std::string interface;
        WaylandGlobal global;
    };

    explicit WaylandConnection(std::unique_ptr<WaylandDisplay> display);

    [[nodiscard]] void*
    bindGlobal(const WaylandGlobal& global, const wl_interface& interface, std::uint32_t highest);
    void announce(const char* interface, const WaylandGlobal& global);
    void withdraw(std::uint32_t name);
    void readSocket();
    void endPause();
    void pauseAfter(int bytes);
    void stopReading();

    std::unique_ptr<WaylandDisplay> m_display;
    WaylandOwned<wl_registry> m_registry;
    std::vector<Announced> m_globals;
    bool m_globalsChanged = false;
    QSocketNotifier m_readable; // off while m_pause runs
    QSocketNotifier m_writable;
    QTimer m_pause; // the throttle: nothing is read while it runs, but for catchUp()
    QElapsedTimer m_lastRead;
    QElapsedTimer m_series;
};

} // namespace platform::wayland
