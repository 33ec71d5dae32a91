// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/service_startup.h"

#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

namespace shell {

namespace {

void renewTimer(syncing::SyncService& sync)
{
    sync.stopTimer();
    sync.setupTimer();
}

} // namespace

void startServices(syncing::SyncService& sync, tracking::TrackingEngine& tracking)
{
    renewTimer(sync);
    if (!tracking.isTracking())
        tracking.start();
}

void keepServicesRunning(syncing::SyncService& sync, tracking::TrackingEngine& tracking)
{
    if (tracking.isPaused())
        renewTimer(sync);
    else
        startServices(sync, tracking);
}

} // namespace shell
