// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_ids.h"
#include "activity/activity_list.h"
#include "sync/upload_payload_json.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace syncing {

/// What one attempt works on, from the samples to the body.
/// One thread at a time. With many samples every step and the end of it take long.
struct UploadBatch
{
    activity::ActivityList snapshot;
    /// What the body says beside its rows.
    ActivityPayload payload;
    /// The identities of all samples of the snapshot.
    activity::ActivityIds ids;
    /// How many rows the body has.
    qint64 rowCount = 0;
    QByteArray body;
    /// Why there is no body.
    std::optional<QString> encodingError;

    /// Folds the snapshot into rows and writes them into the body, each as soon as it is there: of
    /// a long backlog nothing but the body is made, and 16 bytes of identity for each sample.
    void encode();
};

} // namespace syncing
