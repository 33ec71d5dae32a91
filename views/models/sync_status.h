// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace views {

/// What is to be said about synchronisation.
struct SyncStatus
{
    enum class State : std::uint8_t {
        Syncing,
        Error,
        Active,
    };

    enum class Colour : std::uint8_t {
        Orange,
        Red,
        Green,
    };

    State state = State::Active;
    /// Of the dot beside it.
    Colour colour = Colour::Green;
    /// Why the last attempt failed; empty in the other states.
    QString error;
    /// When the last attempt succeeded, in seconds since 2001-01-01T00:00:00Z; only when active.
    std::optional<double> lastTime;

    bool operator==(const SyncStatus&) const = default;
};

/// An attempt that is under way comes first, then the failure of the last one, even one whose text
/// is empty. Any thread.
[[nodiscard]] SyncStatus syncStatus(bool isSyncing,
                                    const std::optional<QString>& lastSyncError,
                                    std::optional<double> lastSyncTime);

} // namespace views
