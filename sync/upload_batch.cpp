// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_batch.h"

#include "sync/aggregation.h"
#include "sync/upload_rows.h"

#include <cstddef>
#include <utility>

namespace syncing {

namespace {

/// About how many bytes the row of `run` takes: exact but for characters to escape, of which
/// addresses have a few.
qsizetype expectedBytes(const AggregatedLog& run)
{
    constexpr std::size_t kBesideTheTexts = 128;
    const activity::ActivityLog& first = run.log;
    return static_cast<qsizetype>(kBesideTheTexts + first.appName.view().size() +
                                  (first.windowTitle ? first.windowTitle->view().size() : 0) +
                                  (first.url ? first.url->view().size() : 0));
}

} // namespace

void UploadBatch::encode()
{
    ids = activity::ActivityIds(snapshot);
    UploadPayloadJson json(payload);
    // Folding twice is cheap. A body that grows is moved from place to place, and while the system
    // moves hundreds of megabytes the main thread gets no memory.
    qsizetype expected = 0;
    aggregate(snapshot, [&expected](const AggregatedLog& run) { expected += expectedBytes(run); });
    json.reserve(expected);
    aggregate(snapshot, [&json](const AggregatedLog& run) { json.append(uploadRow(run)); });
    rowCount = json.rowCount();
    platform::Result<QByteArray> encoded = json.finish();
    if (encoded)
        body = std::move(encoded).value();
    else
        encodingError = encoded.error().text;
}

} // namespace syncing
