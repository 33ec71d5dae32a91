// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <string_view>

namespace platform {

/// One file that others only ever see whole. A new state is written to a hidden file beside it,
/// which commit() puts in its place; what was there becomes hidden and may be written to later, so
/// that a state that has only grown costs what is new. The files that take turns so are readable by
/// their owner only.
///
/// After a power cut the file may be any of them, and those that were written to since the last
/// flush() may be torn; the one that was flushed last is whole: it is not written to before another
/// one has been flushed. leftovers() finds it.
///
/// One thread at a time; every function may block on the disk. Error texts give the system's
/// reason, without the file's name.
class AtomicFile
{
public:
    /// How many files take turns, at most.
    static constexpr int kFiles = 3;

    /// A hidden file that may be written to.
    struct Draft
    {
        int file = 0;           // which one, below kFiles
        std::int64_t bytes = 0; // its length as its last commit() left it; 0: there is nothing
    };

    AtomicFile() = default;
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    virtual ~AtomicFile() = default;

    /// Where the file is or will be.
    [[nodiscard]] virtual QString path() const = 0;

    /// What writers that no longer run have left beside it, largest first.
    [[nodiscard]] virtual QStringList leftovers() const = 0;
    virtual void removeLeftovers() = 0;

    /// Starts a new state. `isLarge`: only two files take turns, for which the current one has to
    /// be flushed first. Fails when the folder is missing or cannot be written to.
    [[nodiscard]] virtual Result<Draft> begin(bool isLarge) = 0;

    /// Writes to the draft, at `offset`.
    [[nodiscard]] virtual Outcome write(std::int64_t offset, std::string_view content) = 0;

    /// Copies `bytes` bytes at `offset` of the last committed state to the same place in the draft.
    /// They are worth something only if isCurrentUntouched() afterwards.
    [[nodiscard]] virtual Outcome copyFromCurrent(std::int64_t offset, std::int64_t bytes) = 0;

    /// True when nobody else has written to what the last commit() left.
    [[nodiscard]] virtual bool isCurrentUntouched() const = 0;

    /// Puts the draft, cut to `bytes`, in the place of the file in one step.
    [[nodiscard]] virtual Outcome commit(std::int64_t bytes) = 0;

    /// Gives the draft up, if there is one, and removes it.
    virtual void abandon() = 0;

    /// Has the last committed state, and that it is the file's, on the disk when it returns; before
    /// the first commit() what is found there, if that can be.
    [[nodiscard]] virtual Outcome flush() = 0;

    /// Removes the hidden files, so that a power cut does not bring them back. The current one
    /// should have been flushed.
    virtual void discardOthers() = 0;

    /// Keeps the current file beside itself as "<name>.damaged-<UTC time>", so that the first
    /// commit() does not lose it; of such copies the newest three and the largest. Nothing to do
    /// when there is no current file.
    [[nodiscard]] virtual Outcome keepDamagedCopy() = 0;
};

/// Gives access to files by path.
/// Any thread.
class AtomicFiles
{
public:
    AtomicFiles() = default;
    AtomicFiles(const AtomicFiles&) = delete;
    AtomicFiles& operator=(const AtomicFiles&) = delete;
    virtual ~AtomicFiles() = default;

    /// The file at `path`, which need not exist. Touches nothing. The caller owns the result.
    [[nodiscard]] virtual std::unique_ptr<AtomicFile> at(const QString& path) = 0;

    /// Creates the folder `path` with any missing parents, open to its owner only. An existing
    /// folder is closed to others. Errors are ignored: the first write will report them.
    virtual void makePrivateFolder(const QString& path) = 0;
};

} // namespace platform
