// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/time_texts.h"
#include "views/models/account_model.h"
#include "views/models/activity_totals.h"

#include <QAbstractListModel>
#include <QStringList>
#include <QTimeZone>

#include <cstdint>
#include <functional>
#include <vector>

namespace activity {
class DataStore;
}

namespace platform {
class DesktopNotice;
}

namespace tracking {
class TrackingEngine;
}

namespace views {

/// The rows of an activity card, the largest first. Main thread.
class ActivityRows final : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY itemsChanged FINAL)
    Q_PROPERTY(double maxDuration READ maxDuration NOTIFY itemsChanged FINAL)

public:
    enum Role : std::uint16_t {
        NameRole = Qt::UserRole,
        DurationRole,
        DurationTextRole,
    };

    explicit ActivityRows(QObject* parent);

    /// Replaces the content. Rows that stay keep their place on screen.
    void setItems(std::vector<AggregatedItem> items);

    [[nodiscard]] const std::vector<AggregatedItem>& items() const { return m_items; }

    [[nodiscard]] int count() const { return static_cast<int>(m_items.size()); }

    /// The first row's, in seconds; 1 without rows.
    [[nodiscard]] double maxDuration() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// How wide the bar of an item is, in the unit of `available`, the width of the largest item's:
    /// the item's share of `maxDuration`, but at least 4. That also where the share is no number,
    /// as with nothing of nothing.
    Q_INVOKABLE [[nodiscard]] static double
    barWidth(double available, double duration, double maxDuration);

Q_SIGNALS:
    void itemsChanged();

private:
    std::vector<AggregatedItem> m_items;
    platform::DurationText m_durationText;
};

/// What the dashboard shows and what its controls do.
///
/// The totals are added up anew when the window comes on screen, when the range changes, when
/// activities go, and when with any other change it is another day than before, or the user is in
/// another time zone. Activities that come are added to them, at most once a second. While the
/// window is hidden nothing is computed, kept or told. Main thread; what it is given must
/// outlive it.
// With its namespace: moc writes the name down as it stands here, and qmllint looks for it.
class DashboardModel final : public views::AccountModel
{
    Q_OBJECT
    Q_PROPERTY(QString displayName READ displayName NOTIFY changed FINAL)
    Q_PROPERTY(QString syncDetail READ syncDetail NOTIFY changed FINAL)
    Q_PROPERTY(QString notice READ notice NOTIFY changed FINAL)
    Q_PROPERTY(bool isTracking READ isTracking NOTIFY changed FINAL)
    Q_PROPERTY(QList<QString> timeRanges READ timeRanges CONSTANT FINAL)
    Q_PROPERTY(int timeRange READ timeRange WRITE setTimeRange NOTIFY timeRangeChanged FINAL)
    Q_PROPERTY(views::ActivityRows* topApps READ topApps CONSTANT FINAL)
    Q_PROPERTY(views::ActivityRows* topWebsites READ topWebsites CONSTANT FINAL)

public:
    /// Tells the user's time zone as it is now.
    using Zone = std::function<QTimeZone()>;

    DashboardModel(const Dependencies& account,
                   activity::DataStore& dataStore,
                   tracking::TrackingEngine& trackingEngine,
                   platform::DesktopNotice& notice,
                   Zone zone = &QTimeZone::systemTimeZone);

    [[nodiscard]] QString displayName() const;

    /// Below the state of the uploads: why the last one failed, or "Last: 5 min. ago"; empty before
    /// the first and while one is under way.
    [[nodiscard]] QString syncDetail() const;

    /// What cannot be seen on this desktop; empty where everything can.
    [[nodiscard]] QString notice() const;

    [[nodiscard]] bool isTracking() const;

    /// The names of the ranges; `timeRange` is a position in this list.
    [[nodiscard]] static QStringList timeRanges();
    [[nodiscard]] int timeRange() const;
    void setTimeRange(int position);

    [[nodiscard]] ActivityRows* topApps() { return &m_topApps; }

    [[nodiscard]] ActivityRows* topWebsites() { return &m_topWebsites; }

    /// Whether somebody can see it; not until this has been said.
    void setVisible(bool visible);

    Q_INVOKABLE void openSettings();
    Q_INVOKABLE void toggleTracking();

Q_SIGNALS:
    void timeRangeChanged();

private:
    void redraw() override;
    void activitiesChanged();
    void beginPause();
    void pauseEnded();
    void addUp();
    void addUpOnAnotherDay();

    activity::DataStore& m_dataStore;
    tracking::TrackingEngine& m_trackingEngine;
    platform::DesktopNotice& m_notice;
    Zone m_zone;
    TimeRange m_timeRange = TimeRange::Today;
    ActivityRows m_topApps;
    ActivityRows m_topWebsites;
    ActivityTotals m_totals;
    bool m_isVisible = false;
    bool m_isPausing = false;  // the last change of the activities was less than a second ago
    bool m_isOutdated = false; // they have changed since
};

} // namespace views
