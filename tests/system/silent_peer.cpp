// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A peer that owns a name on the session bus and never answers a call: silent_peer NAME. Says
// "ready" on standard output when it has the name.
#include <cstdio>
#include <gio/gio.h>

namespace {

GDBusMessage* swallowCalls(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer)
{
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
        return message;
    g_object_unref(message);
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    GDBusConnection* const bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (argc != 2 || bus == nullptr)
        return 2;
    g_dbus_connection_add_filter(bus, swallowCalls, nullptr, nullptr);
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
