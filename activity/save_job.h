// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "platform/atomic_file.h"
#include "platform/result.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace activity {

/// What the file on disk holds, as far as we wrote it ourselves.
struct SavedFile
{
    ActivityList list;
    platform::FileIdentity identity;
};

/// One new state of the activity file on its way to the disk, in steps of a bounded size. Takes
/// over the bytes of the previous state where the list has only grown. One thread at a time; every
/// function may block on the disk.
class SaveJob final
{
public:
    /// What is on the disk already, as far as we wrote it: the file, and the one before it.
    struct OnDisk
    {
        std::optional<SavedFile> current;
        std::optional<SavedFile> previous;
    };

    /// Starts to save `list`.
    [[nodiscard]] static platform::Result<std::unique_ptr<SaveJob>>
    begin(platform::AtomicFile& file, ActivityList list, const OnDisk& onDisk);

    /// Goes on towards `list` instead; false when it is not what this job saves with records
    /// appended.
    [[nodiscard]] bool adopt(const ActivityList& list);

    /// True when every record has been taken in and commit() is next.
    [[nodiscard]] bool isComplete() const;

    /// Does about `bytes` bytes of the work, at most; the result is how many it was.
    [[nodiscard]] platform::Result<std::int64_t> advance(std::int64_t bytes);

    /// Closes the array and puts it in the file's place; `current` is what that held so far.
    [[nodiscard]] platform::Result<SavedFile> commit(const std::optional<SavedFile>& current);

    /// True when a step failed because somebody else has changed the file meanwhile, so that a job
    /// that begins without its bytes will do.
    [[nodiscard]] bool sourceChanged() const;

private:
    SaveJob(std::unique_ptr<platform::FileReplacement> out, ActivityList list);

    [[nodiscard]] platform::Result<std::int64_t> flushText();

    std::unique_ptr<platform::FileReplacement> m_out;
    ActivityList m_list;
    std::size_t m_taken = 0; // records whose bytes are in m_out or m_text
    std::string m_text;      // encoded, not yet handed to m_out
    platform::FileIdentity m_source;
    std::int64_t m_copied = 0;
    std::int64_t m_toCopy = 0;
};

} // namespace activity
