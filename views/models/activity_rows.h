// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/time_texts.h"
#include "views/models/duration_totals.h"

#include <QAbstractListModel>

#include <cstdint>
#include <vector>

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

} // namespace views
