// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/sources.h"
#include "backends/desktops/wayland/sway_ipc.h"
#include "backends/desktops/wayland/wayland_connection.h"

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace platform::wayland {

/// A window as a compositor tells of it. Texts are UTF-8, but for what a program got wrong.
struct Toplevel
{
    std::uint64_t number = 0; ///< Tells windows apart, never 0, never given twice.
    std::string appId;        ///< Empty when it has none or one of more than 1 KiB.
    std::optional<std::string> title;
    std::uint64_t activation = 0; ///< Grows from one that got the focus to the next; 0 without it.
    std::int32_t processIdentifier = 0; ///< 0 while it is not known.
};

/// The windows of a desktop. What is told of one counts only when the compositor has said that it
/// is complete.
/// One thread at a time.
class ToplevelList final
{
public:
    /// Whoever opens more windows than this has gone wrong.
    static constexpr std::size_t kMost = 4096;

    /// What a window is told by. Not looked at.
    using Key = const void*;

    /// A new window; false when there are too many, or that one already.
    [[nodiscard]] bool add(Key key);

    /// News of a window; of one that is not listed they are dropped.
    void setTitle(Key key, std::string_view title);
    void setAppId(Key key, std::string_view appId);
    void setActivated(Key key, bool activated);

    /// The process of the window in front is known now; it stays the window's. Counts at once.
    void setFrontProcess(std::int32_t process);

    /// What was told of a window since the last call counts from now on, all at once.
    void apply(Key key);

    void remove(Key key);
    void clear();

    /// The window that has the focus; of several the one that got it last. Null when none has.
    /// Good until the next change.
    [[nodiscard]] const Toplevel* front() const { return m_front; }

    [[nodiscard]] std::size_t size() const { return m_windows.size(); }

private:
    struct Window
    {
        Toplevel shown;
        std::optional<std::string> title;
        std::optional<std::string> appId;
        std::optional<bool> activated;
    };

    [[nodiscard]] Window* find(Key key);
    void chooseFront();

    std::unordered_map<Key, Window> m_windows;
    Toplevel* m_front = nullptr;
    std::uint64_t m_lastNumber = 0;
    std::uint64_t m_lastActivation = 0;
};

/// The window in front by the protocol wlr-foreign-toplevel-management, which sway and other
/// compositors of wlroots have. It lists the windows of applications only; those of X programs
/// appear with their class. It knows no processes; sway is asked, once for each window, over a
/// socket of its own.
/// Main thread, with an event loop.
class ToplevelWindows final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// `connection` must outlive this. `swaySocket` is the path of sway's socket, empty where there
    /// is none; without it, and while it does not answer, windows have no process.
    ToplevelWindows(WaylandConnection& connection, const QString& swaySocket);
    ToplevelWindows(const ToplevelWindows&) = delete;
    ToplevelWindows& operator=(const ToplevelWindows&) = delete;
    ~ToplevelWindows() override;

    [[nodiscard]] QString name() const override;

    /// Never Asking: what a compositor offers is known from the connection's start.
    [[nodiscard]] desktop::Presence presence() const override;

    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override;

    /// As in the interface, but for the process of a window that has never been in front before.
    void update() override;

private:
    struct Listeners;

    using Handle = zwlr_foreign_toplevel_handle_v1;

    void followGlobal();
    void bind(const WaylandGlobal& global);
    void stop();
    void release();
    void loseManager();
    void addHandle(Handle* handle);
    void closeHandle(Handle* handle);
    void followFront();
    void askForProcess();
    void takeProcess(const std::optional<SwayWindow>& focused);

    WaylandConnection& m_connection;
    std::unique_ptr<SwayIpc> m_sway;
    QTimer m_askAgain;
    std::chrono::milliseconds m_patience{};
    std::uint64_t m_activation = 0;        // of the window in front, when sway was asked last
    std::optional<WaylandGlobal> m_global; // what was bound last, also when it has finished since
    WaylandOwned<zwlr_foreign_toplevel_manager_v1> m_manager{nullptr, nullptr};
    std::unordered_set<Handle*> m_handles;
    ToplevelList m_windows;
};

} // namespace platform::wayland
