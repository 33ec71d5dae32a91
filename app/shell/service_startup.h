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
/// tracking is started unless it is on. Harmless at any time and any number of times.
/// Main thread.
void startServices(syncing::SyncService& sync, tracking::TrackingEngine& tracking);

} // namespace shell
