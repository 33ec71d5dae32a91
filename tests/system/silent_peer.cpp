// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A peer that owns a name on the session bus and never answers a call: silent_peer NAME. Says
// "ready" on standard output when it has the name. With one more argument it answers "Introduce",
// as a usage monitor does; if that is "hidden", it lets nobody look into its process.
#include <cstdio>
#include <gio/gio.h>
#include <string_view>
#include <sys/prctl.h>

namespace {

GDBusMessage* swallowCalls(GDBusConnection* bus,
                           GDBusMessage* message,
                           gboolean incoming,
                           gpointer introducesItself)
{
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
        return message;
    const char* const member = g_dbus_message_get_member(message);
    if (introducesItself != nullptr && member != nullptr &&
        std::string_view(member) == "Introduce") {
        GDBusMessage* const reply = g_dbus_message_new_method_reply(message);
        g_dbus_connection_send_message(
            bus, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_object_unref(reply);
    }
    g_object_unref(message);
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    GDBusConnection* const bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (argc < 2 || argc > 3 || bus == nullptr)
        return 2;
    if (argc == 3 && std::string_view(argv[2]) == "hidden")
        prctl(PR_SET_DUMPABLE, 0);
    g_dbus_connection_add_filter(bus, swallowCalls, argc == 3 ? argv[2] : nullptr, nullptr);
    g_bus_own_name_on_connection(
        bus,
        argv[1],
        G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, gpointer) {
            std::puts("ready");
            std::fflush(stdout);
        },
        nullptr,
        nullptr,
        nullptr);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
