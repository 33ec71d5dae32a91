// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT

// A Wayland compositor that shows nothing and tells clients what it is ordered to, sense or
// nonsense.
//
// Usage: fake_compositor SOCKET
//
// Orders are lines on standard input; each is answered by a line "done" when it has been sent:
//
//   add NAME INTERFACE VERSION    announces a global under a name of one's own
//   remove NAME                   withdraws it
//   open ID [COUNT]               a new window, or several that share their orders, told to all
//   managers title ID TEXT, app ID TEXT, state ID NUMBER..., settled ID, closed ID finished to all
//   managers idled, resumed                to whoever has asked break                         ends
//   all clients with an error of the protocol report                        answered by what
//   clients have asked for so far
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ext-idle-notify-v1-server.h>
#include <idle-server.h>
#include <list>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <wayland-server.h>
#include <wlr-foreign-toplevel-management-unstable-v1-server.h>

namespace {

using Resources = std::list<wl_resource*>;

struct Compositor
{
    wl_display* display = wl_display_create();
    std::map<std::string, wl_global*> globals;
    Resources managers;
    Resources notifications;
    Resources timeouts;
    std::map<std::string, Resources> windows;
    std::string asked;
    std::string input;
};

Compositor& compositor()
{
    static Compositor instance;
    return instance;
}

void note(const std::string& what)
{
    compositor().asked += (compositor().asked.empty() ? "" : ", ") + what;
}

/// Keeps `resource` in `list` as long as it lives.
void track(wl_resource* resource, Resources& list)
{
    list.push_back(resource);
    wl_resource_set_user_data(resource, &list);
    wl_resource_set_destructor(resource, [](wl_resource* gone) {
        static_cast<Resources*>(wl_resource_get_user_data(gone))->remove(gone);
    });
}

void destroy(wl_client* /*client*/, wl_resource* resource)
{
    wl_resource_destroy(resource);
}

const struct ext_idle_notification_v1_interface kNotification{.destroy = destroy};

const struct org_kde_kwin_idle_timeout_interface kTimeout{
    .release = destroy, .simulate_user_activity = [](wl_client*, wl_resource*) {
    }};

template <bool kInput>
void getNotification(
    wl_client* client, wl_resource* notifier, std::uint32_t id, std::uint32_t timeout, wl_resource*)
{
    note((kInput ? "input " : "idle ") + std::to_string(timeout));
    wl_resource* const made = wl_resource_create(
        client, &ext_idle_notification_v1_interface, wl_resource_get_version(notifier), id);
    wl_resource_set_implementation(made, &kNotification, nullptr, nullptr);
    track(made, compositor().notifications);
}

const struct ext_idle_notifier_v1_interface kNotifier{
    .destroy = destroy,
    .get_idle_notification = getNotification<false>,
    .get_input_idle_notification = getNotification<true>};

const struct org_kde_kwin_idle_interface kKdeIdle{
    .get_idle_timeout =
        [](wl_client* client, wl_resource*, std::uint32_t id, wl_resource*, std::uint32_t timeout) {
            note("kde " + std::to_string(timeout));
            wl_resource* const made =
                wl_resource_create(client, &org_kde_kwin_idle_timeout_interface, 1, id);
            wl_resource_set_implementation(made, &kTimeout, nullptr, nullptr);
            track(made, compositor().timeouts);
        }};

const struct zwlr_foreign_toplevel_manager_v1_interface kManager{
    .stop = [](wl_client*, wl_resource*) {
        note("stop");
    }};

const struct wl_seat_interface kSeat{
    .get_pointer = nullptr, .get_keyboard = nullptr, .get_touch = nullptr, .release = destroy};

struct zwlr_foreign_toplevel_handle_v1_interface windowRequests()
{
    struct zwlr_foreign_toplevel_handle_v1_interface requests{};
    requests.destroy = destroy;
    return requests;
}

struct Kind
{
    const wl_interface* interface;
    const void* requests;
};

const std::map<std::string, Kind>& kinds()
{
    static const std::map<std::string, Kind> all{
        {"seat", {&wl_seat_interface, &kSeat}},
        {"manager", {&zwlr_foreign_toplevel_manager_v1_interface, &kManager}},
        {"notifier", {&ext_idle_notifier_v1_interface, &kNotifier}},
        {"kde", {&org_kde_kwin_idle_interface, &kKdeIdle}},
        {"output", {&wl_output_interface, nullptr}}};
    return all;
}

void bind(wl_client* client, void* data, std::uint32_t version, std::uint32_t id)
{
    const Kind& kind = *static_cast<const Kind*>(data);
    note(std::string("bind ") + kind.interface->name + ' ' + std::to_string(version));
    wl_resource* const made =
        wl_resource_create(client, kind.interface, static_cast<int>(version), id);
    wl_resource_set_implementation(made, kind.requests, nullptr, nullptr);
    if (kind.interface == &zwlr_foreign_toplevel_manager_v1_interface)
        track(made, compositor().managers);
}

void openWindow(const std::string& window)
{
    static const struct zwlr_foreign_toplevel_handle_v1_interface requests = windowRequests();
    for (wl_resource* const manager : compositor().managers) {
        wl_resource* const made = wl_resource_create(wl_resource_get_client(manager),
                                                     &zwlr_foreign_toplevel_handle_v1_interface,
                                                     wl_resource_get_version(manager),
                                                     0);
        wl_resource_set_implementation(made, &requests, nullptr, nullptr);
        track(made, compositor().windows[window]);
        zwlr_foreign_toplevel_manager_v1_send_toplevel(manager, made);
    }
}

void sendState(wl_resource* window, std::istream& numbers)
{
    wl_array states;
    wl_array_init(&states);
    for (std::uint32_t number = 0; numbers >> number;)
        *static_cast<std::uint32_t*>(wl_array_add(&states, sizeof number)) = number;
    zwlr_foreign_toplevel_handle_v1_send_state(window, &states);
    wl_array_release(&states);
}

void tellOfWindow(const std::string& order, const std::string& id, std::istream& words)
{
    std::string text;
    if (order == "title" || order == "app")
        std::getline(words >> std::ws, text);
    for (wl_resource* const window : compositor().windows[id]) {
        if (order == "title")
            zwlr_foreign_toplevel_handle_v1_send_title(window, text.c_str());
        else if (order == "app")
            zwlr_foreign_toplevel_handle_v1_send_app_id(window, text.c_str());
        else if (order == "state")
            sendState(window, words);
        else if (order == "settled")
            zwlr_foreign_toplevel_handle_v1_send_done(window);
        else if (order == "closed")
            zwlr_foreign_toplevel_handle_v1_send_closed(window);
    }
}

void tellOfIdleness(bool idle)
{
    for (wl_resource* const one : compositor().notifications)
        idle ? ext_idle_notification_v1_send_idled(one)
             : ext_idle_notification_v1_send_resumed(one);
    for (wl_resource* const one : compositor().timeouts)
        idle ? org_kde_kwin_idle_timeout_send_idle(one)
             : org_kde_kwin_idle_timeout_send_resumed(one);
}

void tellManagers(void (*tell)(wl_resource*))
{
    const Resources managers = compositor().managers; // telling may end them
    for (wl_resource* const manager : managers)
        tell(manager);
}

void obey(const std::string& line)
{
    Compositor& self = compositor();
    std::istringstream words(line);
    std::string order;
    std::string name;
    words >> order >> name;
    if (order == "add") {
        std::string kind;
        int version = 0;
        words >> kind >> version;
        const Kind& found = kinds().at(kind);
        self.globals[name] = wl_global_create(
            self.display, found.interface, version, const_cast<Kind*>(&found), bind);
    } else if (order == "remove") {
        wl_global_remove(self.globals.at(name));
    } else if (order == "open") {
        int count = 1;
        words >> count;
        for (int i = 0; i < std::max(count, 1); ++i)
            openWindow(name);
    } else if (order == "finished") {
        tellManagers([](wl_resource* manager) {
            zwlr_foreign_toplevel_manager_v1_send_finished(manager);
            wl_resource_destroy(manager);
        });
    } else if (order == "idled" || order == "resumed") {
        tellOfIdleness(order == "idled");
    } else if (order == "break") {
        tellManagers(
            [](wl_resource* manager) { wl_resource_post_error(manager, 7, "as ordered"); });
    } else if (order == "report") {
        std::puts(self.asked.c_str());
    } else {
        tellOfWindow(order, name, words);
    }
    wl_display_flush_clients(self.display);
    if (order != "report")
        std::puts("done");
    std::fflush(stdout);
}

int readOrders(int descriptor, std::uint32_t /*mask*/, void* /*data*/)
{
    Compositor& self = compositor();
    char buffer[65536];
    const ssize_t size = ::read(descriptor, buffer, sizeof buffer);
    if (size <= 0) {
        wl_display_terminate(self.display);
        return 0;
    }
    self.input.append(buffer, static_cast<std::size_t>(size));
    for (std::size_t end = 0; (end = self.input.find('\n')) != std::string::npos;) {
        obey(self.input.substr(0, end));
        self.input.erase(0, end + 1);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    wl_display* const display = compositor().display;
    if (argc != 2 || wl_display_add_socket(display, argv[1]) != 0) {
        std::fputs("Usage: fake_compositor SOCKET\n", stderr);
        return 2;
    }
    wl_event_loop_add_fd(
        wl_display_get_event_loop(display), STDIN_FILENO, WL_EVENT_READABLE, readOrders, nullptr);
    std::puts("done");
    std::fflush(stdout);
    wl_display_run(display);
    wl_display_destroy_clients(display);
    wl_display_destroy(display);
    return 0;
}
