// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/idle_source.h"
#include "platform/linux/wayland/idle_span.h"
#include "platform/linux/wayland/wayland_global.h"

#include <cstdint>
#include <memory>
#include <optional>

struct ext_idle_notification_v1;
struct org_kde_kwin_idle_timeout;
struct wl_seat;

namespace platform::wayland {

class WaylandConnection;

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

    struct Release
    {
        void operator()(wl_seat* seat) const noexcept;
        void operator()(ext_idle_notification_v1* notification) const noexcept;
        void operator()(org_kde_kwin_idle_timeout* timeout) const noexcept;
    };

    [[nodiscard]] std::optional<Choice> choose() const;
    void followGlobals();
    void ask(const Choice& choice);
    void askExtIdleNotify(const WaylandGlobal& global);
    void askKdeIdle(const WaylandGlobal& global);
    void release();
    void noteLoss();

    WaylandConnection& m_connection;
    std::optional<Choice> m_choice;
    std::unique_ptr<wl_seat, Release> m_seat;
    std::unique_ptr<ext_idle_notification_v1, Release> m_notification;
    std::unique_ptr<org_kde_kwin_idle_timeout, Release> m_timeout;
    IdleSpan m_span;
};

} // namespace platform::wayland
