// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/x11/x11_window_query.h"

#include "platform/linux/x11/x11_property.h"

#include <QSysInfo>

#include <algorithm>
#include <limits>
#include <utility>

namespace platform::x11 {

namespace {
/// How much of a property is read, in units of four bytes: 16 KiB, many times any real title.
constexpr std::uint32_t kReadUnits = 4096;

/// The questions of one tick follow each other within microseconds; this allows for a busy machine.
/// Ticks are a second apart.
constexpr std::chrono::milliseconds kSameTick{100};

/// ICCCM: neither on the screen nor as an icon.
constexpr std::uint32_t kWithdrawnState = 0;

template <typename TimePoint> bool isOfThisTick(TimePoint moment)
{
    return TimePoint::clock::now() - moment < kSameTick;
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

X11WindowQuery::X11WindowQuery(X11Connection& connection)
    : m_connection(connection)
{
}

void X11WindowQuery::sendAhead()
{
    m_ahead = send();
}

std::optional<FocusedWindow> X11WindowQuery::focusedWindow()
{
    m_title.reset();
    std::optional<Batch> ahead = std::exchange(m_ahead, std::nullopt);
    Batch batch = ahead && isOfThisTick(ahead->sentAt) ? *std::move(ahead) : send();

    const auto activeReply = batch.activeWindow.take();
    const auto rootReply = batch.checkOfRoot.take();
    const auto active = numberOf(X11Property::of(activeReply.get()), XCB_ATOM_WINDOW);
    const auto check = numberOf(X11Property::of(rootReply.get()), XCB_ATOM_WINDOW);
    const bool otherWindow = active != std::exchange(m_likelyWindow, active);
    const bool otherCheck = check != std::exchange(m_likelyCheckWindow, check);
    if (active == XCB_WINDOW_NONE || check == XCB_WINDOW_NONE)
        return std::nullopt;

    // A guess that failed is asked again, still in one round trip: the last one sent is taken
    // first.
    if (otherCheck)
        batch.checkOfWindow = request(check, m_connection.atoms().netSupportingWmCheck);
    if (otherWindow) {
        batch.window = requestWindow(active);
        batch.sentAt = Clock::now();
    }
    if (!batch.window) // never: a guess that held was asked for
        return std::nullopt;
    std::optional<FocusedWindow> focused = take(*std::move(batch.window), batch.sentAt);
    const auto ownReply = batch.checkOfWindow.take();
    // The properties of a window manager that has gone stay on the root window. Its check window
    // does not.
    if (numberOf(X11Property::of(ownReply.get()), XCB_ATOM_WINDOW) != check) {
        m_title.reset();
        return std::nullopt;
    }
    return focused;
}

std::optional<QString> X11WindowQuery::titleOf(xcb_window_t window)
{
    std::optional<KnownTitle> known = std::exchange(m_title, std::nullopt);
    if (known && known->window == window && isOfThisTick(known->askedAt))
        return std::move(known->title);
    return takeTitle(requestTitle(window));
}

X11WindowQuery::Property X11WindowQuery::request(xcb_window_t window, xcb_atom_t property)
{
    if (!m_connection.isAlive())
        return {};
    const auto cookie = xcb_get_property(
        m_connection.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, kReadUnits);
    return {m_connection, cookie.sequence};
}

X11WindowQuery::TitleRequest X11WindowQuery::requestTitle(xcb_window_t window)
{
    return {.netWmName = request(window, m_connection.atoms().netWmName),
            .wmName = request(window, XCB_ATOM_WM_NAME)};
}

X11WindowQuery::WindowRequest X11WindowQuery::requestWindow(xcb_window_t window)
{
    if (!m_connection.isAlive())
        return {};
    const X11Atoms& atoms = m_connection.atoms();
    // Braces: in the order as written.
    return {.window = window,
            .title = requestTitle(window),
            .gtkApplicationId = request(window, atoms.gtkApplicationId),
            .windowClass = request(window, XCB_ATOM_WM_CLASS),
            .pid = request(window, atoms.netWmPid),
            .clientMachine = request(window, XCB_ATOM_WM_CLIENT_MACHINE),
            .windowType = request(window, atoms.netWmWindowType),
            .wmState = request(window, atoms.wmState),
            .attributes = {m_connection,
                           xcb_get_window_attributes(m_connection.get(), window).sequence}};
}

X11WindowQuery::Batch X11WindowQuery::send()
{
    const X11Atoms& atoms = m_connection.atoms();
    Batch batch;
    batch.sentAt = Clock::now();
    if (m_likelyWindow != XCB_WINDOW_NONE)
        batch.window = requestWindow(m_likelyWindow);
    if (m_likelyCheckWindow != XCB_WINDOW_NONE)
        batch.checkOfWindow = request(m_likelyCheckWindow, atoms.netSupportingWmCheck);
    batch.checkOfRoot = request(m_connection.root(), atoms.netSupportingWmCheck);
    batch.activeWindow = request(m_connection.root(), atoms.netActiveWindow);
    return batch;
}

std::optional<QString> X11WindowQuery::takeTitle(TitleRequest request)
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

std::optional<FocusedWindow> X11WindowQuery::take(WindowRequest request, Clock::time_point sentAt)
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
    FocusedWindow focused{
        .window = request.window,
        .identifiers = windowClassNames(X11Property::of(windowClass.get()), atoms),
        .processIdentifier =
            processOf(X11Property::of(pid.get()), textOf(X11Property::of(machine.get()), atoms))};
    focused.identifiers.prepend(textOf(X11Property::of(gtkId.get()), atoms).value_or(QString()));
    focused.identifiers.removeAll(QString());
    m_title = KnownTitle{
        .askedAt = sentAt, .window = request.window, .title = takeTitle(std::move(request.title))};
    return focused;
}

} // namespace platform::x11
