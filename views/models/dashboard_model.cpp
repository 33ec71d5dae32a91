// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/dashboard_model.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "platform/clock.h"
#include "platform/desktop_notice.h"
#include "platform/main_queue.h"
#include "shell/window_router.h"
#include "tracking/tracking_engine.h"

#include <QPointer>

#include <algorithm>
#include <chrono>
#include <utility>

namespace views {

namespace {

using activity::DataStore;
using tracking::TrackingEngine;

constexpr std::chrono::seconds kPause(1);
const QString kLast = QStringLiteral("Last: ");

} // namespace

ActivityRows::ActivityRows(QObject* parent)
    : QAbstractListModel(parent)
{
}

void ActivityRows::setItems(std::vector<AggregatedItem> items)
{
    if (items == m_items)
        return;
    const int before = count();
    const int after = static_cast<int>(items.size());
    // Rows are kept as far as they go, so that nothing on screen is made anew each second.
    if (after < before) {
        beginRemoveRows({}, after, before - 1);
        m_items.resize(items.size());
        endRemoveRows();
    }
    if (after > before) {
        beginInsertRows({}, before, after - 1);
        m_items = std::move(items);
        endInsertRows();
    } else {
        m_items = std::move(items);
    }
    if (const int kept = std::min(before, after); kept > 0)
        Q_EMIT dataChanged(index(0), index(kept - 1));
    Q_EMIT itemsChanged();
}

double ActivityRows::maxDuration() const
{
    return m_items.empty() ? 1 : m_items.front().duration;
}

int ActivityRows::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ActivityRows::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const AggregatedItem& item = m_items[static_cast<std::size_t>(index.row())];
    switch (role) {
    case NameRole:
        return item.name;
    case DurationRole:
        return item.duration;
    case DurationTextRole:
        return m_durationText.text(item.duration);
    default:
        return {};
    }
}

QHash<int, QByteArray> ActivityRows::roleNames() const
{
    return {
        {NameRole, "name"},
        {DurationRole, "duration"},
        {DurationTextRole, "durationText"},
    };
}

double ActivityRows::barWidth(double available, double duration, double maxDuration)
{
    constexpr double kLeast = 4;
    const double width = available * (duration / maxDuration);
    return width > kLeast ? width : kLeast; // not-a-number is not
}

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
    return account::displayName(account().authService.currentUser());
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
    account().mainQueue.asyncAfter(kPause, [self = QPointer(this)] {
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
    m_totals.update(m_dataStore.activities(), m_timeRange, account().clock.now(), m_zone());
    m_topApps.setItems(m_totals.topApps());
    m_topWebsites.setItems(m_totals.topWebsites());
}

void DashboardModel::addUpOnAnotherDay()
{
    if (!m_totals.isOfTheDay(account().clock.now(), m_zone()))
        addUp();
}

void DashboardModel::openSettings()
{
    account().windows.show(shell::kSettingsWindow);
}

void DashboardModel::toggleTracking()
{
    if (m_trackingEngine.isTracking())
        m_trackingEngine.stop();
    else
        m_trackingEngine.start();
}

} // namespace views
