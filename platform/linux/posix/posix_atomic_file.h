// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"
#include "platform/linux/posix/spare_file.h"

#include <QString>

namespace platform::posix {

/// Files replaced by rename(2), which is atomic on every local file system.
class PosixAtomicFiles final : public AtomicFiles
{
public:
    [[nodiscard]] std::unique_ptr<AtomicFile> at(const QString& path) override;
    void makePrivateFolder(const QString& path) override;
};

/// One such file. New content is gathered in a hidden file beside it, which its writer keeps locked
/// (flock(2)) while it lives: so leftovers of a process that was killed can be told apart.
///
/// Where a symbolic link is in its place, the file is the one that the link leads to, there or not:
/// it is looked up once, when this is made, and the link stays. Damaged copies, the newest three
/// and the largest, lie beside that file, too.
class PosixAtomicFile final : public AtomicFile
{
public:
    explicit PosixAtomicFile(const QString& path);

    /// Where the file is, links followed.
    [[nodiscard]] QString path() const override;
    [[nodiscard]] Result<std::unique_ptr<FileReplacement>> beginReplacement() override;
    [[nodiscard]] std::unique_ptr<FileReplacement> recyclePrevious(std::int64_t bytes) override;
    void discardPrevious() override;
    [[nodiscard]] Outcome keepDamagedCopy() override;
    void removeLeftovers() override;

    /// Gives whatever is in the file's place, be it a folder or a pipe, the name of a damaged copy,
    /// so that the place is free. Nothing to do when there is nothing.
    [[nodiscard]] Outcome moveDamagedAside();

private:
    [[nodiscard]] QByteArray nameForDamagedCopy() const;
    void removeOldDamagedCopies() const;

    QString m_path;
    QString m_folder;
    QString m_name;
    SpareFile m_previous;
};

} // namespace platform::posix
