// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_batch.h"

#include "sync/aggregation.h"
#include "sync/upload_rows.h"

#include <utility>

namespace syncing {

void UploadBatch::fold()
{
    payload.activities = uploadRows(aggregate(snapshot));
    rowCount = static_cast<qint64>(payload.activities.size());
    ids = activity::ActivityIds(snapshot);
}

void UploadBatch::encode()
{
    const ActivityPayload given = std::exchange(payload, {});
    platform::Result<QByteArray> encoded = uploadPayloadJson(given);
    if (encoded)
        body = std::move(encoded).value();
    else
        encodingError = encoded.error().text;
}

} // namespace syncing
