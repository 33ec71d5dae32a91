// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/wayland_idle_time.h"

#include <algorithm>
#include <chrono>
#include <ext-idle-notify-v1.h>
#include <idle.h>
#include <limits>
#include <wayland-client.h>

namespace platform::wayland {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kHighestExtIdleNotify = 2;
constexpr std::uint32_t kHighestKdeIdle = 1;
constexpr std::uint32_t kHighestSeat = WL_SEAT_RELEASE_SINCE_VERSION;
constexpr auto kNoticeMs = static_cast<std::uint32_t>(IdleSpan::kNotice.count());

void releaseSeat(wl_seat* seat)
{
    if (wl_seat_get_version(seat) >= WL_SEAT_RELEASE_SINCE_VERSION)
        wl_seat_release(seat);
    else
        wl_seat_destroy(seat);
}

} // namespace

void IdleSpan::start(TimePoint now)
{
    m_state = State::Asked;
    m_since = now;
}

void IdleSpan::idled(TimePoint now)
{
    // Told twice, the first time counts.
    if (m_state == State::Untold || m_state == State::Idle)
        return;
    m_state = State::Idle;
    m_since = now - kNotice;
}

void IdleSpan::resumed()
{
    if (m_state != State::Untold)
        m_state = State::Active;
}

void IdleSpan::forget()
{
    m_state = State::Untold;
}

double IdleSpan::secondsAt(TimePoint now) const
{
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    switch (m_state) {
    case State::Untold:
        break;
    // Without input the peer would have told by then.
    case State::Asked:
        return now - m_since < kNotice ? kUnknown : 0;
    case State::Active:
        return 0;
    case State::Idle:
        return std::max(0.0, std::chrono::duration<double>(now - m_since).count());
    }
    return kUnknown;
}

/// Both protocols tell the same.
struct WaylandIdleTime::Listeners
{
    template <typename Proxy> static void idled(void* self, Proxy* /*proxy*/)
    {
        static_cast<WaylandIdleTime*>(self)->m_span.idled(Clock::now());
    }

    template <typename Proxy> static void resumed(void* self, Proxy* /*proxy*/)
    {
        static_cast<WaylandIdleTime*>(self)->m_span.resumed();
        Q_EMIT static_cast<WaylandIdleTime*>(self)->resumed();
    }

    static constexpr ext_idle_notification_v1_listener kNotification{.idled = idled,
                                                                     .resumed = resumed};
    static constexpr org_kde_kwin_idle_timeout_listener kTimeout{.idle = idled, .resumed = resumed};
};

WaylandIdleTime::WaylandIdleTime(WaylandConnection& connection)
    : m_connection(connection)
{
    connect(&connection, &WaylandConnection::globalsChanged, this, &WaylandIdleTime::followGlobals);
    followGlobals();
}

WaylandIdleTime::~WaylandIdleTime()
{
    release();
    m_connection.flush();
}

QString WaylandIdleTime::name() const
{
    const bool isKde = m_choice && m_choice->protocol == Protocol::KdeIdle;
    const wl_interface& interface =
        isKde ? org_kde_kwin_idle_interface : ext_idle_notifier_v1_interface;
    QString protocol = QString::fromLatin1(interface.name);
    if (!m_choice)
        return protocol;
    return QStringLiteral("%1, version %2")
        .arg(protocol)
        .arg(std::min(m_choice->notifier.version, isKde ? kHighestKdeIdle : kHighestExtIdleNotify));
}

desktop::Presence WaylandIdleTime::presence() const
{
    return m_choice && m_connection.isAlive() ? desktop::Presence::Here : desktop::Presence::Absent;
}

double WaylandIdleTime::secondsSinceLastInput()
{
    m_connection.catchUp();
    return (m_connection.isAlive() ? m_span : IdleSpan()).secondsAt(Clock::now());
}

std::optional<WaylandIdleTime::Choice> WaylandIdleTime::choose() const
{
    const auto seat = m_connection.global(wl_seat_interface);
    if (!seat)
        return std::nullopt;
    if (const auto notifier = m_connection.global(ext_idle_notifier_v1_interface))
        return Choice{.protocol = Protocol::ExtIdleNotify, .notifier = *notifier, .seat = *seat};
    if (const auto notifier = m_connection.global(org_kde_kwin_idle_interface))
        return Choice{.protocol = Protocol::KdeIdle, .notifier = *notifier, .seat = *seat};
    return std::nullopt;
}

void WaylandIdleTime::followGlobals()
{
    const auto choice = choose();
    if (choice == m_choice)
        return;
    const bool hasComeOrGone = choice.has_value() != m_choice.has_value();
    release();
    m_choice = choice;
    if (choice)
        ask(*choice);
    m_connection.flush();
    qCInfo(lcWayland) << "idle time:"
                      << (choice ? name() : QStringLiteral("no protocol or no seat"));
    if (hasComeOrGone)
        Q_EMIT presenceChanged();
}

void WaylandIdleTime::ask(const Choice& choice)
{
    m_seat = {m_connection.bind<wl_seat>(choice.seat, wl_seat_interface, kHighestSeat),
              releaseSeat};
    if (choice.protocol == Protocol::ExtIdleNotify)
        askExtIdleNotify(choice.notifier);
    else
        askKdeIdle(choice.notifier);
    m_span.start(Clock::now());
}

// The notifiers are needed for asking only; the answers go on without them.
void WaylandIdleTime::askExtIdleNotify(const WaylandGlobal& global)
{
    auto* const notifier = m_connection.bind<ext_idle_notifier_v1>(
        global, ext_idle_notifier_v1_interface, kHighestExtIdleNotify);
    const bool canTellInput = ext_idle_notifier_v1_get_version(notifier) >=
                              EXT_IDLE_NOTIFIER_V1_GET_INPUT_IDLE_NOTIFICATION_SINCE_VERSION;
    const auto get = canTellInput ? ext_idle_notifier_v1_get_input_idle_notification
                                  : ext_idle_notifier_v1_get_idle_notification;
    m_notification = {get(notifier, kNoticeMs, m_seat.get()), ext_idle_notification_v1_destroy};
    ext_idle_notification_v1_add_listener(m_notification.get(), &Listeners::kNotification, this);
    ext_idle_notifier_v1_destroy(notifier);
}

void WaylandIdleTime::askKdeIdle(const WaylandGlobal& global)
{
    auto* const notifier =
        m_connection.bind<org_kde_kwin_idle>(global, org_kde_kwin_idle_interface, kHighestKdeIdle);
    m_timeout = {org_kde_kwin_idle_get_idle_timeout(notifier, m_seat.get(), kNoticeMs),
                 org_kde_kwin_idle_timeout_release};
    org_kde_kwin_idle_timeout_add_listener(m_timeout.get(), &Listeners::kTimeout, this);
    org_kde_kwin_idle_destroy(notifier);
}

void WaylandIdleTime::release()
{
    m_notification.reset();
    m_timeout.reset();
    m_seat.reset();
    m_span.forget();
}

} // namespace platform::wayland
