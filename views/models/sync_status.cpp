// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/sync_status.h"

namespace views {

SyncStatus syncStatus(bool isSyncing,
                      const std::optional<QString>& lastSyncError,
                      std::optional<double> lastSyncTime)
{
    using State = SyncStatus::State;
    using Colour = SyncStatus::Colour;
    if (isSyncing)
        return {.state = State::Syncing, .colour = Colour::Orange, .error = {}, .lastTime = {}};
    if (lastSyncError)
        return {
            .state = State::Error, .colour = Colour::Red, .error = *lastSyncError, .lastTime = {}};
    return {.state = State::Active, .colour = Colour::Green, .error = {}, .lastTime = lastSyncTime};
}

} // namespace views
