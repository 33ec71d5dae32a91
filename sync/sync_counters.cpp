// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/sync_counters.h"

#include <algorithm>
#include <limits>

namespace syncing {

namespace {

const QString kSyncInterval = QStringLiteral("syncInterval");
const QString kLastSyncTime = QStringLiteral("lastSyncTime");
const QString kLastSyncRecordCount = QStringLiteral("lastSyncRecordCount");
const QString kTotalRecordsSynced = QStringLiteral("totalRecordsSynced");

} // namespace

qint64 intervalMinutes(const platform::UserDefaults& defaults)
{
    return std::max<qint64>(1, defaults.integer(kSyncInterval).value_or(0));
}

std::optional<double> lastSyncTime(const platform::UserDefaults& defaults)
{
    return defaults.date(kLastSyncTime);
}

void setLastSyncTime(platform::UserDefaults& defaults, std::optional<double> time)
{
    if (time)
        defaults.setDate(kLastSyncTime, *time);
    else
        defaults.remove(kLastSyncTime);
}

void countDelivery(platform::UserDefaults& defaults, qint64 rows)
{
    const qint64 total = defaults.integer(kTotalRecordsSynced).value_or(0);
    if (total > std::numeric_limits<qint64>::max() - rows)
        qFatal("The total of uploaded records is too large");
    defaults.setInteger(kLastSyncRecordCount, rows);
    defaults.setInteger(kTotalRecordsSynced, total + rows);
}

void countNothing(platform::UserDefaults& defaults)
{
    defaults.setInteger(kLastSyncRecordCount, 0);
}

} // namespace syncing
