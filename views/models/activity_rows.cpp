// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/activity_rows.h"

#include <algorithm>
#include <utility>

namespace views {

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

} // namespace views
