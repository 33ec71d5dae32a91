// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/toplevel_windows.h"

#include "base/exact_utf8.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>
#include <wayland-client.h>
#include <wlr-foreign-toplevel-management-unstable-v1.h>

namespace platform::wayland {

namespace {

constexpr std::uint32_t kHighestVersion = 3;

// How long sway has to answer before it is asked again: an exponential back-off.
constexpr std::chrono::milliseconds kFirstPatience(250);
constexpr std::chrono::milliseconds kLongestPatience = std::chrono::minutes(5);

bool isActivated(const wl_array& states)
{
    const std::span<const char> bytes(static_cast<const char*>(states.data), states.size);
    for (std::size_t at = 0; at + sizeof(std::uint32_t) <= bytes.size();
         at += sizeof(std::uint32_t)) {
        std::uint32_t state = 0;
        std::memcpy(&state, &bytes[at], sizeof state);
        if (state == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
            return true;
    }
    return false;
}

} // namespace

bool ToplevelList::add(Key key)
{
    if (m_windows.size() >= kMost)
        return false;
    const auto [entry, isNew] = m_windows.try_emplace(key);
    if (isNew)
        entry->second.shown.number = ++m_lastNumber;
    return isNew;
}

void ToplevelList::setTitle(Key key, std::string_view title)
{
    if (Window* const window = find(key))
        window->title = cutUtf8(title, desktop::kLongestTitle);
}

void ToplevelList::setAppId(Key key, std::string_view appId)
{
    if (Window* const window = find(key))
        window->appId = appId.size() > desktop::kLongestIdentifier ? std::string_view() : appId;
}

void ToplevelList::setActivated(Key key, bool activated)
{
    if (Window* const window = find(key))
        window->activated = activated;
}

void ToplevelList::setFrontProcess(std::int32_t process)
{
    if (m_front != nullptr)
        m_front->processIdentifier = process;
}

void ToplevelList::apply(Key key)
{
    Window* const window = find(key);
    if (window == nullptr)
        return;
    Toplevel& shown = window->shown;
    if (auto title = std::exchange(window->title, std::nullopt))
        shown.title = std::move(title);
    if (auto appId = std::exchange(window->appId, std::nullopt))
        shown.appId = std::move(*appId);
    const bool wasActivated = shown.activation != 0;
    if (std::exchange(window->activated, std::nullopt).value_or(wasActivated) == wasActivated)
        return;
    shown.activation = wasActivated ? 0 : ++m_lastActivation;
    chooseFront();
}

void ToplevelList::remove(Key key)
{
    m_windows.erase(key);
    chooseFront();
}

void ToplevelList::clear()
{
    m_windows.clear();
    chooseFront();
}

ToplevelList::Window* ToplevelList::find(Key key)
{
    const auto found = m_windows.find(key);
    return found == m_windows.end() ? nullptr : &found->second;
}

void ToplevelList::chooseFront()
{
    m_front = nullptr;
    std::uint64_t latest = 0;
    for (auto& [key, window] : m_windows) {
        if (window.shown.activation > latest) {
            latest = window.shown.activation;
            m_front = &window.shown;
        }
    }
}

struct ToplevelWindows::Listeners
{
    using Manager = zwlr_foreign_toplevel_manager_v1;

    static ToplevelWindows& of(void* data) { return *static_cast<ToplevelWindows*>(data); }

    static void toplevel(void* self, Manager* /*manager*/, Handle* handle)
    {
        of(self).addHandle(handle);
    }

    // Nothing more comes, until the facility is announced anew.
    static void finished(void* self, Manager* /*manager*/) { of(self).loseManager(); }

    static void title(void* self, Handle* handle, const char* text)
    {
        of(self).m_windows.setTitle(handle, text);
    }

    static void appId(void* self, Handle* handle, const char* text)
    {
        of(self).m_windows.setAppId(handle, text);
    }

    static void state(void* self, Handle* handle, wl_array* states)
    {
        of(self).m_windows.setActivated(handle, isActivated(*states));
    }

    static void done(void* self, Handle* handle) { of(self).m_windows.apply(handle); }

    static void closed(void* self, Handle* handle) { of(self).closeHandle(handle); }

    static constexpr zwlr_foreign_toplevel_manager_v1_listener kManager{.toplevel = toplevel,
                                                                        .finished = finished};
    static constexpr zwlr_foreign_toplevel_handle_v1_listener kHandle{
        .title = title,
        .app_id = appId,
        .output_enter = [](void* /*self*/, Handle* /*handle*/, wl_output* /*output*/) {},
        .output_leave = [](void* /*self*/, Handle* /*handle*/, wl_output* /*output*/) {},
        .state = state,
        .done = done,
        .closed = closed,
        .parent =
            [](void* /*self*/, Handle* /*handle*/, Handle* /*parent*/) {
            }};
};

ToplevelWindows::ToplevelWindows(WaylandConnection& connection, const QString& swaySocket)
    : m_connection(connection)
{
    connect(&connection, &WaylandConnection::globalsChanged, this, &ToplevelWindows::followGlobal);
    if (!swaySocket.isEmpty()) {
        m_sway = std::make_unique<SwayIpc>(swaySocket);
        connect(m_sway.get(), &SwayIpc::answered, this, &ToplevelWindows::takeProcess);
        connect(&connection, &WaylandConnection::caughtUp, this, &ToplevelWindows::followFront);
        m_askAgain.setSingleShot(true);
        connect(&m_askAgain, &QTimer::timeout, this, &ToplevelWindows::askForProcess);
    }
    followGlobal();
}

ToplevelWindows::~ToplevelWindows()
{
    stop();
    m_connection.flush();
}

QString ToplevelWindows::name() const
{
    return QStringLiteral("wlr-foreign-toplevel-management");
}

desktop::Presence ToplevelWindows::presence() const
{
    return m_manager && m_connection.isAlive() ? desktop::Presence::Here
                                               : desktop::Presence::Absent;
}

std::optional<desktop::FrontWindow> ToplevelWindows::frontWindow() const
{
    const Toplevel* const front = m_windows.front();
    if (front == nullptr || presence() != desktop::Presence::Here)
        return std::nullopt;
    desktop::FrontWindow window;
    window.window = front->number;
    if (!front->appId.empty())
        window.identifiers.append(fromExactUtf8(front->appId));
    window.processIdentifier = front->processIdentifier;
    if (front->title)
        window.title = fromExactUtf8(*front->title);
    return window;
}

void ToplevelWindows::update()
{
    m_connection.catchUp();
}

/// Binds the manager when it comes, and lets go of it when it goes.
void ToplevelWindows::followGlobal()
{
    const auto global = m_connection.global(zwlr_foreign_toplevel_manager_v1_interface);
    if (global == m_global)
        return;
    const bool wasHere = m_manager != nullptr;
    stop();
    m_global = global;
    if (global)
        bind(*global);
    m_connection.flush();
    qCInfo(lcWayland) << "the list of windows" << (m_manager ? "is there" : "is not there");
    if (wasHere != (m_manager != nullptr))
        Q_EMIT presenceChanged();
}

void ToplevelWindows::bind(const WaylandGlobal& global)
{
    m_manager = {m_connection.bind<zwlr_foreign_toplevel_manager_v1>(
                     global, zwlr_foreign_toplevel_manager_v1_interface, kHighestVersion),
                 zwlr_foreign_toplevel_manager_v1_destroy};
    if (m_manager)
        zwlr_foreign_toplevel_manager_v1_add_listener(m_manager.get(), &Listeners::kManager, this);
}

void ToplevelWindows::stop()
{
    if (m_manager)
        zwlr_foreign_toplevel_manager_v1_stop(m_manager.get());
    release();
}

/// Also for a manager that has finished, to which nothing may be sent any more.
void ToplevelWindows::release()
{
    for (Handle* const handle : std::exchange(m_handles, {}))
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
    m_windows.clear();
    m_manager.reset();
}

void ToplevelWindows::loseManager()
{
    qCInfo(lcWayland) << "the list of windows has ended";
    const bool wasHere = m_manager != nullptr;
    release();
    if (wasHere)
        Q_EMIT presenceChanged();
}

void ToplevelWindows::addHandle(Handle* handle)
{
    if (!m_windows.add(handle)) {
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
        return;
    }
    m_handles.insert(handle);
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &Listeners::kHandle, this);
}

void ToplevelWindows::closeHandle(Handle* handle)
{
    m_windows.remove(handle);
    m_handles.erase(handle);
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
}

/// A window keeps its process: once it is known nobody is asked.
void ToplevelWindows::followFront()
{
    const Toplevel* const front = m_windows.front();
    const std::uint64_t activation = front != nullptr ? front->activation : 0;
    if (activation == m_activation)
        return;
    m_activation = activation;
    m_askAgain.stop();
    m_patience = kFirstPatience;
    if (front != nullptr && front->processIdentifier == 0)
        askForProcess();
}

void ToplevelWindows::askForProcess()
{
    m_askAgain.start(m_patience);
    m_patience = std::min(m_patience * 2, kLongestPatience);
    m_sway->ask();
}

void ToplevelWindows::takeProcess(const std::optional<SwayWindow>& focused)
{
    // Where the focus went before the answer has been told before it. When it went nowhere, both
    // speak of the same window.
    const std::uint64_t asked = m_activation;
    m_connection.catchUp();
    const Toplevel* const front = m_windows.front();
    if (!focused || front == nullptr || m_activation != asked || front->appId != focused->appId)
        return;
    m_windows.setFrontProcess(focused->processIdentifier);
    m_askAgain.stop();
}

} // namespace platform::wayland
