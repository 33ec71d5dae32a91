// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "shell/services.h"

#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

namespace shell {

void Services::start() const
{
    syncService.stopTimer();
    syncService.setupTimer();
    if (!trackingEngine.isTracking())
        trackingEngine.start();
}

void Services::keepRunning() const
{
    if (!trackingEngine.isPaused()) {
        start();
        return;
    }
    syncService.stopTimer();
    syncService.setupTimer();
}

} // namespace shell
