// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/shared_text.h"
#include "platform/atomic_file.h"

#include <QIODevice>
#include <QLoggingCategory>
#include <QString>

#include <cstddef>
#include <optional>

namespace activity {

/// What the store decides and what goes wrong in it, for developers; off by default. Nothing of
/// what is recorded, and no path, which has the user's name in it.
Q_DECLARE_LOGGING_CATEGORY(lcStore)

/// Small enough for what is parsed from it to stay in the processor's cache.
inline constexpr std::size_t kReadWindow = 256UL * 1024;

/// Reads `device`, open for reading, as one JSON array of activity records (docs/formats.md,
/// "Activity file") whose texts come from `pool`. None when any of it is not valid: there is no
/// recovery of single records. Blocks until the end; needs little memory beyond the list that it
/// returns, however long the file, and gives up on garbage at the first byte that is wrong.
/// Any thread, as long as nobody else uses the pool.
/// `window` is how much of the text to look at together, in bytes; longer records make it grow.
[[nodiscard]] std::optional<ActivityList>
readActivityFile(QIODevice& device, TextPool& pool, std::size_t window = kReadWindow);

/// What a start finds on the disk.
struct StoredActivities
{
    ActivityList list;
    TextPool pool; // of the list's texts
    /// There is a file, and nothing could be made of it; the list is empty.
    bool isUnreadable = false;
    /// The list is one that an earlier process has left beside the file: the file itself is torn,
    /// or lacks the end of that one. It should be saved soon.
    bool isRepaired = false;
};

/// Reads the activity file at `path`, which `file` stands for. After a power cut it is the best
/// whole one of the file and its leftovers that is used: the file if it can be read, unless a
/// leftover goes on from it; else the largest leftover that can be read. Changes nothing on the
/// disk. May take a second for a million records. Any thread.
[[nodiscard]] StoredActivities readStoredActivities(const QString& path,
                                                    const platform::AtomicFile& file);

} // namespace activity
