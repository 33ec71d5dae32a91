// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace account {
class AuthService;
}

namespace activity {
class DataStore;
}

namespace syncing {
class SyncService;
}

namespace tracking {
class TrackingEngine;
}

namespace shell {

/// The four services that carry all state. They outlive whoever is given them.
/// Main thread.
struct Services
{
    activity::DataStore& dataStore;
    account::AuthService& authService;
    syncing::SyncService& syncService;
    /// The engine that runs.
    tracking::TrackingEngine& trackingEngine;

    /// What a signed-in user's services need to be running: the uploads begin their interval anew,
    /// and tracking is started unless it is on, which ends a pause. Harmless any number of times.
    void start() const;

    /// The same where the user has only looked at the program: a pause of tracking goes on.
    void keepRunning() const;
};

} // namespace shell
