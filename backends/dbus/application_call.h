// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"
#include "platform/application_requests.h"

#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

#include <cstdint>

namespace platform::dbus {

/// The bus name that the one running instance owns, its object (Desktop Entry Specification,
/// "D-Bus Activation": the name with slashes for dots) and what the object speaks.
[[nodiscard]] QString applicationName();
[[nodiscard]] QString applicationPath();
inline constexpr const char* kApplicationInterface = "org.freedesktop.Application";

/// One thing asked of the application.
struct ApplicationCall
{
    enum class Kind : std::uint8_t {
        Activate,
        Open,   ///< `text` is the address
        Action, ///< `text` is the name of the action
        Task,   ///< an action whose asker waits; `text` is its name
    };

    Kind kind = Kind::Activate;
    QString text;
    ActivationToken token;
    // NOLINTNEXTLINE(readability-redundant-member-init): most callers leave it out
    ApplicationRequests::Answer answer = {}; ///< of a task that came over the bus
};

/// The token in a call's platform data: "activation-token", else "desktop-startup-id".
[[nodiscard]] ActivationToken tokenIn(const QVariantMap& platformData);

/// The platform data that carries the tokens which this process was started with, in
/// XDG_ACTIVATION_TOKEN and DESKTOP_STARTUP_ID.
[[nodiscard]] QVariantMap platformDataOfThisProcess();

/// The message that asks `call` of the running instance; it starts none. Its platform data is
/// `platformData`, whatever the call's token.
[[nodiscard]] QDBusMessage messageFor(const ApplicationCall& call, const QVariantMap& platformData);

} // namespace platform::dbus
