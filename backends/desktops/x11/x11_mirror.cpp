// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_mirror.h"

#include "backends/desktops/x11/x11_property.h"

#include <QSysInfo>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>
#include <xcb/screensaver.h>
#include <xcb/sync.h>

namespace platform::x11 {

namespace {
/// How much of a property is read, in units of four bytes: 16 KiB, many times any real title.
constexpr std::uint32_t kReadUnits = 4096;

/// The questions of one tick follow each other within microseconds; this allows for a busy machine.
/// Ticks are a second apart.
constexpr std::chrono::milliseconds kSameTick{100};

/// What an event would have told and has not is noticed after this many ticks.
constexpr int kLooksPerAll = 60;

/// Many times what a window in use sends in a second, and as much as the socket holds.
constexpr int kFlood = 256;
/// So many events are taken in at a time at most, whatever is done to us.
constexpr int kMostEvents = 65536;

/// Ticks have stopped: the server is not to keep events for them.
constexpr std::chrono::seconds kRest{5};

/// Below this the idle time is not followed: the server tells when it is reached.
constexpr std::int32_t kIdleNoticeMs = 1000;

/// Longer than any window manager needs to move the focus: 21 ms were the most that was seen.
constexpr std::chrono::milliseconds kMoment{100};

/// ICCCM: neither on the screen nor as an icon.
constexpr std::uint32_t kWithdrawnState = 0;

constexpr std::uint32_t kEventsOfRoot = XCB_EVENT_MASK_PROPERTY_CHANGE;
constexpr std::uint32_t kEventsOfWindow =
    XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

template <typename Event> Event as(const xcb_generic_event_t& event)
{
    Event result{};
    static_assert(sizeof result <= sizeof event);
    std::memcpy(&result, &event, sizeof result);
    return result;
}

void makeAlarm(xcb_connection_t* connection,
               xcb_sync_alarm_t alarm,
               xcb_sync_counter_t counter,
               xcb_sync_testtype_t transition)
{
    const xcb_sync_create_alarm_value_list_t values{
        .counter = counter,
        .valueType = XCB_SYNC_VALUETYPE_ABSOLUTE,
        .value = {.hi = 0, .lo = kIdleNoticeMs},
        .testType = static_cast<std::uint32_t>(transition),
        .delta = {.hi = 0, .lo = 0}, // it goes on with the same value
        .events = 1,
    };
    xcb_sync_create_alarm_aux(connection,
                              alarm,
                              XCB_SYNC_CA_COUNTER | XCB_SYNC_CA_VALUE_TYPE | XCB_SYNC_CA_VALUE |
                                  XCB_SYNC_CA_TEST_TYPE | XCB_SYNC_CA_DELTA | XCB_SYNC_CA_EVENTS,
                              &values);
}

std::int32_t processOf(const X11Property& pid, const std::optional<QString>& clientMachine)
{
    const std::uint32_t number = numberOf(pid, XCB_ATOM_CARDINAL);
    if (number > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
        return 0;
    if (!isLocalMachine(clientMachine.value_or(QString()), QSysInfo::machineHostName()))
        return 0;
    return static_cast<std::int32_t>(number);
}
} // namespace

X11Mirror::X11Mirror(X11Connection& connection)
    : m_connection(connection)
{
    m_rest.setSingleShot(true);
    m_rest.setInterval(kRest);
    m_rest.callOnTimeout([this] {
        stopListening();
        m_looksUntilAll = 0;
    });
}

double X11Mirror::idleSeconds()
{
    refresh();
    m_servesWindow = Clock::now();
    if (!m_connection.isAlive())
        return std::numeric_limits<double>::quiet_NaN();
    if (m_idle * 1000 < kIdleNoticeMs)
        return m_idle;
    return m_idle + std::chrono::duration<double>(Clock::now() - m_idleAskedAt).count();
}

void X11Mirror::update()
{
    if (Clock::now() - std::exchange(m_servesWindow, {}) >= kSameTick)
        refresh();
}

std::optional<desktop::FrontWindow> X11Mirror::frontWindow() const
{
    return m_connection.isAlive() && m_hasManager ? m_focused : std::nullopt;
}

void X11Mirror::refresh()
{
    m_rest.start();
    takeEvents();
    if (!m_connection.isAlive()) {
        m_focused.reset();
        m_stale = kAll;
        return;
    }
    if (m_looksUntilAll-- <= 0) {
        m_looksUntilAll = kLooksPerAll - 1;
        listen();
        m_stale = kAll;
    } else if (!m_isListening) {
        m_stale = kAll;
    } else if (m_connection.counters().idleTime == XCB_NONE) {
        m_stale |= kIdle;
    }
    if (m_noneSince && Clock::now() - *m_noneSince >= kMoment)
        m_stale |= kRoot;
    if (m_stale != 0)
        ask(std::exchange(m_stale, 0));
    // What has come up is the first answer's business only where that is of another window.
    if (const Parts others = m_stale & (kWindow | kCheck); others != 0) {
        m_stale &= ~others;
        ask(others);
    }
    xcb_flush(m_connection.get()); // what needs no answer
}

void X11Mirror::takeEvents()
{
    for (int count = 1; count <= kMostEvents; ++count) {
        const X11Reply<xcb_generic_event_t> event = m_connection.nextEvent();
        if (!event)
            return;
        note(*event);
        if (count == kFlood && m_isListening) {
            qCInfo(lcX11) << "too many events: asking instead for a while";
            stopListening(); // it costs less to ask for a while
            m_looksUntilAll = kLooksPerAll;
        }
    }
}

void X11Mirror::note(const xcb_generic_event_t& event)
{
    constexpr unsigned kNumber = 0x7F; // the rest tells who has sent it
    switch (event.response_type & kNumber) {
    case 0: // an error: something has gone that was there
        m_stale = kAll;
        return;
    case XCB_PROPERTY_NOTIFY:
        noteProperty(as<xcb_property_notify_event_t>(event));
        return;
    case XCB_DESTROY_NOTIFY:
        noteDestroyed(as<xcb_destroy_notify_event_t>(event).window);
        return;
    case XCB_MAP_NOTIFY:
    case XCB_UNMAP_NOTIFY: // both begin alike
        if (as<xcb_map_notify_event_t>(event).window == m_active)
            m_stale |= kWindow;
        return;
    default:
        break;
    }
    if (event.response_type != m_connection.counters().alarmEvent)
        return;
    const auto idle = as<xcb_sync_alarm_notify_event_t>(event).counter_value;
    if (idle.hi != 0 || idle.lo >= kIdleNoticeMs) {
        m_stale |= kIdle;
    } else {
        m_stale &= ~kIdle;
        m_idle = 0;
    }
}

void X11Mirror::noteDestroyed(xcb_window_t window)
{
    if (window == m_check) {
        m_check = XCB_WINDOW_NONE;
        m_hasManager = false;
    }
    if (window == m_active) {
        m_active = XCB_WINDOW_NONE;
        m_focused.reset();
    }
}

void X11Mirror::noteProperty(const xcb_property_notify_event_t& event)
{
    const X11Atoms& atoms = m_connection.atoms();
    if (event.window == m_connection.root()) {
        if (event.atom == atoms.netActiveWindow && !m_leftAt)
            m_leftAt = event.time;
        if (event.atom == atoms.netActiveWindow || event.atom == atoms.netSupportingWmCheck)
            m_stale |= kRoot;
    }
    if (event.window == m_check && event.atom == atoms.netSupportingWmCheck)
        m_stale |= kCheck;
    if (event.window != m_active)
        return;
    if (event.atom == atoms.netWmName || event.atom == XCB_ATOM_WM_NAME)
        m_stale |= kTitle;
    const std::array others{atoms.gtkApplicationId,
                            xcb_atom_t{XCB_ATOM_WM_CLASS},
                            atoms.netWmPid,
                            xcb_atom_t{XCB_ATOM_WM_CLIENT_MACHINE},
                            atoms.netWmWindowType,
                            atoms.wmState};
    if (std::ranges::find(others, event.atom) != others.end())
        m_stale |= kWindow;
}

/// Asks for `parts` in one batch. Whatever tells of changes is selected before it is read: what the
/// answer does not hold yet, an event will tell.
void X11Mirror::ask(Parts parts)
{
    xcb_connection_t* const connection = m_connection.get();
    const X11Atoms& atoms = m_connection.atoms();
    const bool isOfWindow = m_active != XCB_WINDOW_NONE && (parts & kWindow) != 0;
    const bool isOfTitle = m_active != XCB_WINDOW_NONE && (parts & (kWindow | kTitle)) != 0;
    WindowRequest window;
    TitleRequest title;
    Property checkOfWindow;
    Property checkOfRoot;
    Property active;
    X11Pending<xcb_screensaver_query_info_reply_t> idle;
    X11Pending<xcb_sync_query_counter_reply_t> serverTime;
    if (isOfWindow) {
        select(m_active, kEventsOfWindow);
        // Braces: in the order as written.
        window = {
            .gtkApplicationId = request(m_active, atoms.gtkApplicationId),
            .windowClass = request(m_active, XCB_ATOM_WM_CLASS),
            .pid = request(m_active, atoms.netWmPid),
            .clientMachine = request(m_active, XCB_ATOM_WM_CLIENT_MACHINE),
            .windowType = request(m_active, atoms.netWmWindowType),
            .wmState = request(m_active, atoms.wmState),
            .attributes = {m_connection, xcb_get_window_attributes(connection, m_active).sequence}};
    }
    if (isOfTitle)
        title = {.netWmName = request(m_active, atoms.netWmName),
                 .wmName = request(m_active, XCB_ATOM_WM_NAME)};
    if ((parts & kCheck) != 0 && m_check != XCB_WINDOW_NONE) {
        select(m_check, kEventsOfWindow);
        checkOfWindow = request(m_check, atoms.netSupportingWmCheck);
    }
    if ((parts & kIdle) != 0 && m_connection.hasScreenSaver())
        idle = {m_connection, xcb_screensaver_query_info(connection, m_connection.root()).sequence};
    if ((parts & kRoot) != 0) {
        select(m_connection.root(), kEventsOfRoot);
        checkOfRoot = request(m_connection.root(), atoms.netSupportingWmCheck);
        active = request(m_connection.root(), atoms.netActiveWindow);
        if (m_connection.counters().serverTime != XCB_NONE)
            serverTime = {
                m_connection,
                xcb_sync_query_counter(connection, m_connection.counters().serverTime).sequence};
    }

    // The last one sent is taken first, which waits for all.
    const auto timeReply = serverTime.take();
    const auto activeReply = active.take();
    const auto rootReply = checkOfRoot.take();
    const auto idleReply = idle.take();
    const auto checkReply = checkOfWindow.take();
    if ((parts & kCheck) != 0)
        // The properties of a window manager that has gone stay on the root window. Its check
        // window does not.
        m_hasManager = m_check != XCB_WINDOW_NONE &&
                       numberOf(X11Property::of(checkReply.get()), XCB_ATOM_WINDOW) == m_check;
    if (isOfTitle) {
        std::optional<QString> text = readTitle(std::move(title));
        if (isOfWindow)
            m_focused = read(std::move(window));
        if (m_focused)
            m_focused->title = std::move(text);
    }
    if (!m_connection.isAlive()) {
        m_focused.reset();
        m_stale = kAll;
        return;
    }
    if (idleReply) {
        m_idle = idleReply->ms_since_user_input / 1000.0;
        m_idleAskedAt = Clock::now();
    }
    if ((parts & kRoot) != 0) {
        takeEvents(); // they came before the answers
        readRoot(numberOf(X11Property::of(activeReply.get()), XCB_ATOM_WINDOW),
                 numberOf(X11Property::of(rootReply.get()), XCB_ATOM_WINDOW),
                 timeReply ? std::optional(timeReply->counter_value.lo) : std::nullopt);
    }
}

/// What the root window says, at the time `serverTime` where that can be told.
void X11Mirror::readRoot(xcb_window_t active,
                         xcb_window_t check,
                         std::optional<std::uint32_t> serverTime)
{
    if (check != std::exchange(m_check, check))
        m_stale |= kCheck;
    if (active != XCB_WINDOW_NONE) {
        m_leftAt.reset();
    } else if (m_active != XCB_WINDOW_NONE && m_leftAt && serverTime) {
        const std::chrono::milliseconds age(*serverTime - *m_leftAt);
        m_noneSince = Clock::now() - age;
        if (age < kMoment)
            return; // on the way to the next one
    }
    m_noneSince.reset();
    const xcb_window_t before = std::exchange(m_active, active);
    if (before == active)
        return;
    m_focused.reset();
    m_stale |= kWindow;
    if (before != m_connection.root() && before != m_check)
        select(before, XCB_EVENT_MASK_NO_EVENT);
}

/// Has the server tell of changes; of windows it does so once they are asked for.
void X11Mirror::listen()
{
    if (std::exchange(m_isListening, true) || m_connection.counters().idleTime == XCB_NONE)
        return;
    xcb_connection_t* const connection = m_connection.get();
    for (xcb_sync_alarm_t& alarm : m_alarms)
        alarm = xcb_generate_id(connection);
    makeAlarm(connection,
              m_alarms[0],
              m_connection.counters().idleTime,
              XCB_SYNC_TESTTYPE_POSITIVE_TRANSITION);
    makeAlarm(connection,
              m_alarms[1],
              m_connection.counters().idleTime,
              XCB_SYNC_TESTTYPE_NEGATIVE_TRANSITION);
}

void X11Mirror::stopListening()
{
    if (!m_isListening || !m_connection.isAlive())
        return;
    for (const xcb_window_t window : {m_connection.root(), m_check, m_active})
        select(window, XCB_EVENT_MASK_NO_EVENT);
    m_isListening = false;
    if (m_connection.counters().idleTime != XCB_NONE) {
        for (const xcb_sync_alarm_t alarm : m_alarms)
            xcb_sync_destroy_alarm(m_connection.get(), alarm);
    }
    xcb_flush(m_connection.get());
}

void X11Mirror::select(xcb_window_t window, std::uint32_t events) const
{
    if (m_isListening && window != XCB_WINDOW_NONE)
        xcb_change_window_attributes(m_connection.get(), window, XCB_CW_EVENT_MASK, &events);
}

X11Mirror::Property X11Mirror::request(xcb_window_t window, xcb_atom_t property)
{
    const auto cookie = xcb_get_property(
        m_connection.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, kReadUnits);
    return {m_connection, cookie.sequence};
}

std::optional<QString> X11Mirror::readTitle(TitleRequest request) const
{
    const auto wmName = request.wmName.take();
    const auto netWmName = request.netWmName.take();
    const X11Atoms& atoms = m_connection.atoms();
    X11Property name = X11Property::of(netWmName.get());
    if (name.type != XCB_ATOM_NONE)
        name.type = atoms.utf8String; // always (EWMH), though some programs declare another type
    if (const auto title = textOf(name, atoms))
        return title;
    return textOf(X11Property::of(wmName.get()), atoms);
}

std::optional<desktop::FrontWindow> X11Mirror::read(WindowRequest request) const
{
    const auto attributes = request.attributes.take();
    if (!attributes || attributes->override_redirect != 0)
        return std::nullopt;
    const X11Atoms& atoms = m_connection.atoms();
    const auto wmStateReply = request.wmState.take();
    const auto wmState = numberOf(X11Property::of(wmStateReply.get()), atoms.wmState);
    if (attributes->map_state == XCB_MAP_STATE_UNMAPPED && wmState == kWithdrawnState)
        return std::nullopt;
    const auto typeReply = request.windowType.take();
    const auto types = numbersOf(X11Property::of(typeReply.get()), XCB_ATOM_ATOM);
    if (std::ranges::find(types, atoms.netWmWindowTypeDesktop) != types.end())
        return std::nullopt;

    const auto gtkId = request.gtkApplicationId.take();
    const auto windowClass = request.windowClass.take();
    const auto pid = request.pid.take();
    const auto machine = request.clientMachine.take();
    desktop::FrontWindow focused{
        .window = m_active,
        .identifiers = windowClassNames(X11Property::of(windowClass.get()), atoms),
        .name = std::nullopt,
        .processIdentifier =
            processOf(X11Property::of(pid.get()), textOf(X11Property::of(machine.get()), atoms)),
        .title = std::nullopt};
    focused.identifiers.prepend(textOf(X11Property::of(gtkId.get()), atoms).value_or(QString()));
    focused.identifiers.removeAll(QString());
    return focused;
}

} // namespace platform::x11
