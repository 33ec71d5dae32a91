// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <optional>

namespace syncing {

/// What the settings hold about uploads (docs/formats.md, "Settings file"). Main thread.

/// The upload period in minutes, at least 1.
[[nodiscard]] qint64 intervalMinutes(const platform::UserDefaults& defaults);

/// When the last attempt ended that delivered or found nothing to send, in seconds since
/// 2001-01-01T00:00:00Z.
[[nodiscard]] std::optional<double> lastSyncTime(const platform::UserDefaults& defaults);
void setLastSyncTime(platform::UserDefaults& defaults, std::optional<double> time);

/// Notes that `rows` have been delivered. Ends the process when their total does not fit into 64
/// bits.
void countDelivery(platform::UserDefaults& defaults, qint64 rows);

/// Notes that there was nothing to send.
void countNothing(platform::UserDefaults& defaults);

} // namespace syncing
