// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/application_call.h"
#include "base/result.h"

#include <QDBusConnection>
#include <QLatin1StringView>
#include <QString>

#include <chrono>
#include <cstdint>
#include <optional>

namespace platform::dbus {

class ApplicationService;

/// What came of a start of the program.
struct StartResult
{
    enum class Kind : std::uint8_t {
        First,      ///< No other instance runs; this one owns the name now.
        HandedOver, ///< The instance that runs has taken the request; this process is to end.
        Alone,      ///< No session bus: nobody can be asked, and nobody can ask.
        Failed,     ///< Another instance runs, but does not take the request.
    };

    Kind kind;
    QString text; ///< Why, for Alone and Failed.
};

/// Makes this process the instance that runs or hands `request` to the one that does, with the
/// activation tokens that this process was started with. No request (what the bus starts has none:
/// what it was started for follows) is nothing to hand over. Of a first instance the request
/// becomes its own, told after ApplicationService::begin(); a mere Activate does not, since
/// starting answers it.
/// An instance that ends meanwhile is no failure: this one takes its place. Blocks, usually for
/// some milliseconds, at most about `limit`; needs no application object.
[[nodiscard]] StartResult
claimOrHandOver(ApplicationService& service,
                const std::optional<ApplicationCall>& request,
                std::chrono::milliseconds limit = std::chrono::seconds(3));

/// Has the instance that runs, if any is on `bus`, do `task` (platform::tasks) and waits until it
/// is done. None when no instance runs; an error, with the text to tell the user, when one does not
/// answer within `limit` or could not do it. Starts no instance. Blocks.
[[nodiscard]] std::optional<Outcome>
askRunningInstance(const QDBusConnection& bus,
                   QLatin1StringView task,
                   std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace platform::dbus
