// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <chrono>

namespace platform::dbus {

/// The address of the session bus as the environment gives it: DBUS_SESSION_BUS_ADDRESS, else the
/// socket "bus" in XDG_RUNTIME_DIR. Empty when neither leads to one: a library would start a bus of
/// its own then, which nobody else sees. Any thread.
[[nodiscard]] QString sessionBusAddress();

/// `address` without what only the bus that is there now answers to: a bus that takes its place has
/// another identity ("guid", D-Bus Specification, "Server Addresses"). Any thread.
[[nodiscard]] QString withoutIdentity(const QString& address);

/// Whether somebody accepts connections at `address` (D-Bus Specification, "Server Addresses").
/// Only transports over local sockets ("unix:path=", "unix:abstract=") are tried; false for all
/// others. Does not block, says nothing to the bus. Any thread.
[[nodiscard]] bool acceptsConnections(const QString& address);

/// Whether the bus at `address` hangs: somebody accepts connections, but has said nothing within
/// `limit`. Connecting would wait for ever then. False where that cannot be told, as for other
/// transports than local sockets. Any thread.
[[nodiscard]] bool isSilent(const QString& address, std::chrono::milliseconds limit);

} // namespace platform::dbus
