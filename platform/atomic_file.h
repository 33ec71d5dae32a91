// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace platform {

/// What tells one state of a file on disk from another: another file, or the same one written to
/// since, has another value.
struct FileIdentity
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t bytes = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedNanoseconds = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// New content for a file, gathered beside it and invisible until commit().
/// Destroying one that was not committed removes what was gathered. One thread at a time; every
/// function may block on the disk. Error texts give the system's reason, without the file's name.
class FileReplacement
{
public:
    FileReplacement() = default;
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    virtual ~FileReplacement() = default;

    /// Makes the first `bytes` bytes of the current file the content so far, without writing them
    /// again (the file system shares the blocks). False when the file system cannot, or the current
    /// file is not in the state `expected`; the content is then still empty.
    [[nodiscard]] virtual bool shareFromCurrent(const FileIdentity& expected,
                                                std::int64_t bytes) = 0;

    /// Appends `bytes` bytes of the current file, from `offset`.
    /// Fails with sourceChanged() when the current file is not in the state `expected`.
    [[nodiscard]] virtual Outcome
    copyFromCurrent(const FileIdentity& expected, std::int64_t offset, std::int64_t bytes) = 0;

    /// True once a copy failed because somebody else changed or replaced the current file.
    [[nodiscard]] virtual bool sourceChanged() const = 0;

    /// Appends `content`.
    [[nodiscard]] virtual Outcome append(std::string_view content) = 0;

    /// Flushes the gathered content to the disk and puts it in the place of the current file in one
    /// step. The file on disk is at every moment either the old or the new content, whole.
    /// Where the current file is in the state `expected`, it may be kept aside for
    /// AtomicFile::recyclePrevious().
    [[nodiscard]] virtual Result<FileIdentity>
    commit(const std::optional<FileIdentity>& expected) = 0;
};

/// One file that is only ever replaced whole. It and what is gathered for it are readable by its
/// owner only.
/// One thread at a time; every function may block on the disk.
class AtomicFile
{
public:
    AtomicFile() = default;
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    virtual ~AtomicFile() = default;

    /// Where the file is or will be.
    [[nodiscard]] virtual QString path() const = 0;

    /// Starts new content from nothing. Fails when the folder is missing or cannot be written to.
    [[nodiscard]] virtual Result<std::unique_ptr<FileReplacement>> beginReplacement() = 0;

    /// Starts new content from the file that the last commit() has kept aside, cut to its first
    /// `bytes` bytes: nothing is copied. Null when none was kept, somebody has touched it or has
    /// it open for reading, or the file system does not support this; it is then given up.
    [[nodiscard]] virtual std::unique_ptr<FileReplacement> recyclePrevious(std::int64_t bytes) = 0;

    /// Gives up what the last commit() has kept aside, if anything.
    virtual void discardPrevious() = 0;

    /// Keeps the current file beside itself as "<name>.damaged-<UTC time>", so that the next
    /// replacement does not lose it, and of such copies the newest three. Nothing to do when there
    /// is no current file.
    [[nodiscard]] virtual Outcome keepDamagedCopy() = 0;

    /// Removes what replacements of processes that no longer run have left behind.
    virtual void removeLeftovers() = 0;
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
