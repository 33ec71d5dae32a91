// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace syncing {
class SyncService;
}

namespace tracking {
class TrackingEngine;
}

namespace shell {

/// What a signed-in user's services need to be running: the uploads begin their interval anew, and
/// tracking is started unless it is on, which ends a pause. Harmless any number of times.
/// Main thread.
void startServices(syncing::SyncService& sync, tracking::TrackingEngine& tracking);

/// The same where the user has only looked at the program: a pause of tracking goes on.
/// Main thread.
void keepServicesRunning(syncing::SyncService& sync, tracking::TrackingEngine& tracking);

} // namespace shell
