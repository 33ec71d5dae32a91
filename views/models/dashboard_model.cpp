// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/dashboard_model.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "platform/desktop_notice.h"
#include "platform/main_queue.h"
#include "shell/window_router.h"
#include "tracking/tracking_engine.h"

#include <QPointer>

#include <chrono>
#include <utility>

namespace views {

namespace {

using activity::DataStore;
using tracking::TrackingEngine;

constexpr std::chrono::seconds kPause(1);
const QString kLast = QStringLiteral("Last: ");

} // namespace

DashboardModel::DashboardModel(const Dependencies& account,
                               DataStore& dataStore,
                               TrackingEngine& trackingEngine,
                               platform::DesktopNotice& notice,
                               Zone zone)
    : AccountModel(account, QStringLiteral("Active"))
    , m_dataStore(dataStore)
    , m_trackingEngine(trackingEngine)
    , m_notice(notice)
    , m_zone(std::move(zone))
    , m_topApps(nullptr)
    , m_topWebsites(nullptr)
{
    connect(&m_notice, &platform::DesktopNotice::noticeChanged, this, &DashboardModel::redraw);
    connect(&m_trackingEngine, &TrackingEngine::isTrackingChanged, this, &DashboardModel::redraw);
    connect(&m_dataStore, &DataStore::activitiesChanged, this, &DashboardModel::activitiesChanged);
}

QString DashboardModel::displayName() const
{
    return account::displayName(authService().currentUser());
}

QString DashboardModel::syncDetail() const
{
    const auto last =
        syncState() == SyncState::Active ? lastSyncText(m_zone()) : std::optional<QString>();
    return last ? kLast + *last : syncError();
}

QString DashboardModel::notice() const
{
    return m_notice.notice();
}

bool DashboardModel::isTracking() const
{
    return m_trackingEngine.isTracking();
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
    mainQueue().asyncAfter(kPause, [self = QPointer(this)] {
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
    m_totals.update(m_dataStore.activities(), m_timeRange, now(), m_zone());
    m_topApps.setItems(m_totals.topApps());
    m_topWebsites.setItems(m_totals.topWebsites());
}

void DashboardModel::addUpOnAnotherDay()
{
    if (!m_totals.isOfTheDay(now(), m_zone()))
        addUp();
}

void DashboardModel::openSettings()
{
    windows().show(shell::kSettingsWindow);
}

void DashboardModel::toggleTracking()
{
    if (m_trackingEngine.isTracking())
        m_trackingEngine.stop();
    else
        m_trackingEngine.start();
}

} // namespace views
