// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/choice/front_window_source.h"
#include "backends/desktops/wayland/sway_ipc.h"
#include "backends/desktops/wayland/toplevel_list.h"
#include "backends/desktops/wayland/wayland_connection.h"

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_set>

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace platform::wayland {

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
