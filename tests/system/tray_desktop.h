// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/headless_x11.h"
#include "tests/support/private_bus.h"

#include <QProcessEnvironment>
#include <QStringList>

namespace support {

/// An X11 desktop with a session bus, and neither a panel nor anything else on them.
/// Main thread.
class TrayDesktop final
{
public:
    [[nodiscard]] static QStringList programs()
    {
        return HeadlessX11::programs() + PrivateBus::programs();
    }

    [[nodiscard]] platform::Outcome start()
    {
        if (const auto started = bus.start(); !started)
            return started;
        return x11.start();
    }

    [[nodiscard]] QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = x11.environment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
        // Qt's libraries have no frame pointers: only so is it known where a leak of theirs began.
        const QString sanitizer = QStringLiteral("ASAN_OPTIONS");
        environment.insert(
            sanitizer, environment.value(sanitizer) + QStringLiteral(":fast_unwind_on_malloc=0"));
        return environment;
    }

    PrivateBus bus;
    HeadlessX11 x11;
};

} // namespace support
