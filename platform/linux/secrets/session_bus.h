// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/glib_owned.h"

#include <cstdint>

namespace platform::secrets {

/// The well-known name of the Secret Service, and its object for the default keyring.
inline constexpr const char* kSecretService = "org.freedesktop.secrets";
inline constexpr const char* kDefaultKeyring = "/org/freedesktop/secrets/aliases/default";
inline constexpr const char* kCollection = "org.freedesktop.Secret.Collection";

/// Whether the environment leads to a session bus. GLib would start one where it does not, with a
/// keyring of its own that nobody else sees.
[[nodiscard]] bool hasSessionBus();

/// The end of g_bus_get(), which is to be called without a GCancellable: all callers of the moment
/// share one attempt, and would share its being cancelled. The connection, or nothing when that
/// failed. Losing the bus will not end the process, as GLib has it by default.
[[nodiscard]] GlibOwned<GDBusConnection> finishConnecting(GAsyncResult* result);

/// Whether `error` says that nobody provides the name that was called.
[[nodiscard]] bool isNoService(const GError* error);

/// What there is to know of whether a keyring is locked.
enum class KeyringLock : std::uint8_t {
    Unlocked,
    Locked,
    Missing, // the service has no such keyring
    NoService,
    Unknown
};

/// Asks the Secret Service whether the keyring at the object path `keyring` is locked; goes on with
/// `data` as asyncData() makes it. Starts no service, never prompts, and waits for ever: it is for
/// `cancellable` to end it.
void askForLock(GDBusConnection* bus,
                const char* keyring,
                GCancellable* cancellable,
                gpointer data);

/// The end of that.
[[nodiscard]] KeyringLock finishAskingForLock(GDBusConnection* bus, GAsyncResult* result);

} // namespace platform::secrets
