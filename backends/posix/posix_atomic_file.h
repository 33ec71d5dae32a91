// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"
#include "platform/atomic_file.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>
#include <sys/stat.h>

namespace platform::posix {

class PosixAtomicFiles final : public AtomicFiles
{
public:
    [[nodiscard]] std::unique_ptr<AtomicFile> at(const QString& path) override;
    void makePrivateFolder(const QString& path) override;
};

/// One such file. Two files change places by renameat2(2) with RENAME_EXCHANGE; where the file
/// system cannot, the new one is flushed and renamed over the old one, which is then gone. Hidden
/// files are locked (flock(2)) while their writer lives: so leftovers of one that was killed can be
/// told apart.
///
/// Where a symbolic link is in its place, the file is the one that the link leads to, there or not:
/// it is looked up once, when this is made, and the link stays.
class PosixAtomicFile final : public AtomicFile
{
public:
    explicit PosixAtomicFile(const QString& path);
    PosixAtomicFile(const PosixAtomicFile&) = delete;
    PosixAtomicFile& operator=(const PosixAtomicFile&) = delete;
    ~PosixAtomicFile() override;

    /// Where the file is, links followed.
    [[nodiscard]] QString path() const override;
    [[nodiscard]] QStringList leftovers() const override;
    void removeLeftovers() override;
    [[nodiscard]] Result<Draft> begin(bool isLarge) override;
    [[nodiscard]] Outcome write(std::int64_t offset, std::string_view content) override;
    [[nodiscard]] Outcome copyFromCurrent(std::int64_t offset, std::int64_t bytes) override;
    [[nodiscard]] bool isCurrentUntouched() const override;
    [[nodiscard]] Outcome commit(std::int64_t bytes) override;
    void abandon() override;
    [[nodiscard]] Outcome flush() override;
    void discardOthers() override;
    [[nodiscard]] Outcome keepDamagedCopy() override;

    /// Gives whatever is in the file's place, be it a folder or a pipe, the name of a damaged copy,
    /// so that the place is free. Nothing to do when there is nothing.
    [[nodiscard]] Outcome moveDamagedAside();

private:
    /// One of the files that take turns.
    struct Turn
    {
        QByteArray name; // hidden; empty while it is the current one
        FileDescriptor file;
        struct stat left = {}; // as we left it
        std::int64_t length = 0;
        std::int64_t reserved = 0; // the room it has on the disk, at least
    };

    [[nodiscard]] Result<Draft> create();
    [[nodiscard]] int unneeded() const;
    [[nodiscard]] bool exchange(Turn& draft);
    void drop(int index);
    [[nodiscard]] QByteArray nameForDamagedCopy() const;
    void removeOldDamagedCopies() const;

    QString m_path;
    QString m_folder;
    QString m_name;
    QByteArray m_target; // m_path as the system wants it
    std::array<Turn, kFiles> m_turns;
    int m_current = -1; // index; none
    int m_flushed = -1; // what a power cut leaves whole
    int m_draft = -1;
};

/// Makes `content` that of the file at `path`, whose folder is there: a reader, and the next start
/// after a crash, finds the old file or the new one, whole. For small files that are written now
/// and then. The error is the system's reason. Blocks on the disk. Any thread, one at a time for a
/// file.
[[nodiscard]] Outcome replaceFile(const QString& path, const QByteArray& content);

} // namespace platform::posix
