// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/service_startup.h"

#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

namespace shell {

void startServices(syncing::SyncService& sync, tracking::TrackingEngine& tracking)
{
    sync.stopTimer();
    sync.setupTimer();
    if (!tracking.isTracking())
        tracking.start();
}

} // namespace shell
