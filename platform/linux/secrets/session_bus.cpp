// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/session_bus.h"

#include <QFileInfo>
#include <QString>

#include <string_view>
#include <utility>

namespace platform::secrets {

namespace {

constexpr std::string_view kAutolaunch = "autolaunch:";

KeyringLock lockIn(GVariant* reply)
{
    GVariant* value = nullptr;
    g_variant_get(reply, "(v)", &value);
    const GlibOwned<GVariant> owned(value);
    if (!g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN))
        return KeyringLock::Unknown;
    return g_variant_get_boolean(value) ? KeyringLock::Locked : KeyringLock::Unlocked;
}

KeyringLock lockIn(const GError* error)
{
    if (isNoService(error))
        return KeyringLock::NoService;
    for (const GDBusError unknown : {G_DBUS_ERROR_UNKNOWN_OBJECT,
                                     G_DBUS_ERROR_UNKNOWN_INTERFACE,
                                     G_DBUS_ERROR_UNKNOWN_METHOD}) {
        if (g_error_matches(error, G_DBUS_ERROR, unknown))
            return KeyringLock::Missing;
    }
    return KeyringLock::Unknown;
}

} // namespace

bool hasSessionBus()
{
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty())
        return !address.startsWith(kAutolaunch);
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QLatin1StringView("/bus"));
}

bool isNoService(const GError* error)
{
    return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER);
}

GlibOwned<GDBusConnection> finishConnecting(GAsyncResult* result)
{
    GlibOwned<GDBusConnection> bus(g_bus_get_finish(result, nullptr));
    if (bus != nullptr)
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    return bus;
}

void askForLock(GDBusConnection* bus, const char* keyring, GCancellable* cancellable, gpointer data)
{
    g_dbus_connection_call(bus,
                           kSecretService,
                           keyring,
                           "org.freedesktop.DBus.Properties",
                           "Get",
                           g_variant_new("(ss)", kCollection, "Locked"),
                           G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           G_MAXINT,
                           cancellable,
                           continueAsync,
                           data);
}

KeyringLock finishAskingForLock(GDBusConnection* bus, GAsyncResult* result)
{
    GError* failure = nullptr;
    const GlibOwned<GVariant> reply(g_dbus_connection_call_finish(bus, result, &failure));
    const GlibOwned<GError> error(failure);
    return reply != nullptr ? lockIn(reply.get()) : lockIn(error.get());
}

} // namespace platform::secrets
