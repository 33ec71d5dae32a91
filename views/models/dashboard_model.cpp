// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/dashboard_model.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/shell/window_router.h"
#include "platform/app_activation.h"
#include "platform/clock.h"
#include "platform/desktop_notice.h"
#include "platform/main_queue.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"
#include "views/models/account_text.h"

#include <QPointer>

#include <chrono>
#include <utility>

namespace views {

namespace {

using account::AuthService;
using activity::DataStore;
using syncing::SyncService;
using tracking::TrackingEngine;

constexpr std::chrono::seconds kPause(1);
const QString kLast = QStringLiteral("Last: ");

} // namespace

DashboardModel::DashboardModel(ViewContext context, Zone zone)
    : m_to(std::move(context))
    , m_zone(std::move(zone))
    , m_topApps(nullptr)
    , m_topWebsites(nullptr)
{
    connect(&m_to.authService, &AuthService::isAuthenticatedChanged, this, &DashboardModel::redraw);
    connect(&m_to.authService, &AuthService::currentUserChanged, this, &DashboardModel::redraw);
    connect(&m_to.desktopNotice,
            &platform::DesktopNotice::noticeChanged,
            this,
            &DashboardModel::redraw);
    connect(&m_to.syncService, &SyncService::isSyncingChanged, this, &DashboardModel::redraw);
    connect(&m_to.syncService, &SyncService::lastSyncErrorChanged, this, &DashboardModel::redraw);
    connect(
        &m_to.trackingEngine, &TrackingEngine::isTrackingChanged, this, &DashboardModel::redraw);
    connect(
        &m_to.dataStore, &DataStore::activitiesChanged, this, &DashboardModel::activitiesChanged);
}

bool DashboardModel::isAuthenticated() const
{
    return m_to.authService.isAuthenticated();
}

QString DashboardModel::initials() const
{
    return getInitials(m_to.authService.currentUser());
}

QString DashboardModel::displayName() const
{
    return account::displayName(m_to.authService.currentUser());
}

SyncStatus DashboardModel::status() const
{
    return syncStatus(m_to.syncService.isSyncing(),
                      m_to.syncService.lastSyncError(),
                      m_to.syncService.lastSyncTime());
}

bool DashboardModel::isSyncing() const
{
    return status().state == SyncStatus::State::Syncing;
}

bool DashboardModel::hasSyncError() const
{
    return status().state == SyncStatus::State::Error;
}

QString DashboardModel::syncError() const
{
    return status().error;
}

QString DashboardModel::lastSync() const
{
    const auto last = status().lastTime;
    return last ? kLast + m_relativeTimeText.text(*last, m_to.clock.now(), m_zone()) : QString();
}

QString DashboardModel::notice() const
{
    return m_to.desktopNotice.notice();
}

bool DashboardModel::isTracking() const
{
    return m_to.trackingEngine.isTracking();
}

QStringList DashboardModel::timeRanges()
{
    QStringList names;
    for (const TimeRange range : kTimeRanges)
        names.append(rawValue(range));
    return names;
}

int DashboardModel::timeRange() const
{
    return static_cast<int>(m_timeRange);
}

void DashboardModel::setTimeRange(int position)
{
    if (position == timeRange() || position < 0 || position >= std::ssize(kTimeRanges))
        return;
    m_timeRange = kTimeRanges.at(static_cast<std::size_t>(position));
    Q_EMIT timeRangeChanged();
    addUp();
    redraw();
}

void DashboardModel::setVisible(bool visible)
{
    if (visible == std::exchange(m_isVisible, visible))
        return;
    m_totals.clear();
    if (!visible)
        return;
    addUp();
    redraw();
}

void DashboardModel::redraw()
{
    if (!m_isVisible)
        return;
    addUpOnAnotherDay();
    Q_EMIT changed();
}

void DashboardModel::activitiesChanged()
{
    m_isOutdated = true;
    if (!m_isVisible || m_isPausing)
        return;
    addUp();
    redraw();
    beginPause();
}

void DashboardModel::beginPause()
{
    m_isPausing = true;
    m_to.mainQueue.asyncAfter(kPause, [self = QPointer(this)] {
        if (self)
            self->pauseEnded();
    });
}

void DashboardModel::pauseEnded()
{
    m_isPausing = false;
    if (m_isOutdated)
        activitiesChanged();
}

void DashboardModel::addUp()
{
    m_isOutdated = false;
    m_totals.update(m_to.dataStore.activities(), m_timeRange, m_to.clock.now(), m_zone());
    m_topApps.setItems(m_totals.topApps());
    m_topWebsites.setItems(m_totals.topWebsites());
}

void DashboardModel::addUpOnAnotherDay()
{
    if (!m_totals.isOfTheDay(m_to.clock.now(), m_zone()))
        addUp();
}

void DashboardModel::logout()
{
    m_to.authService.logout();
}

void DashboardModel::openLogin()
{
    m_to.windows.openWindow(shell::kLoginWindow);
    m_to.activation.activateIgnoringOtherApps();
}

void DashboardModel::openSettings()
{
    m_to.windows.openSettings();
    m_to.activation.activateIgnoringOtherApps();
}

void DashboardModel::sync()
{
    m_to.mainQueue.async([&service = m_to.syncService] { service.sync(); });
}

void DashboardModel::toggleTracking()
{
    if (m_to.trackingEngine.isTracking())
        m_to.trackingEngine.stop();
    else
        m_to.trackingEngine.start();
}

} // namespace views
