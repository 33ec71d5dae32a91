// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QString>

#include <chrono>

namespace platform::dbus {

/// The address of the system bus (D-Bus Specification, "Well-known Message Bus Instances").
/// Any thread.
[[nodiscard]] QString systemBusAddress();

/// A connection to the bus at `address`, known to Qt as `name`, which must be new. Not connected
/// where nobody answers within `limit` or the address is empty. Blocks that long at most, where
/// that can be told (see isSilent()). Main thread.
[[nodiscard]] QDBusConnection
connectionTo(const QString& address, const QString& name, std::chrono::milliseconds limit);

} // namespace platform::dbus
