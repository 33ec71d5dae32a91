// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"
#include "platform/linux/posix/file_descriptor.h"

#include <QByteArray>

namespace platform::posix {

class SpareFile;

/// New content in a file of its own, which commit() renames over the current one or exchanges with
/// it.
class PosixFileReplacement final : public FileReplacement
{
public:
    /// `out` is the open file `temporary`, in the folder of `target`, positioned at its end. Both
    /// names are in the file system's encoding. `spare`, which must outlive this, gets the file
    /// that a commit has put out of its place.
    PosixFileReplacement(QByteArray target,
                         QByteArray temporary,
                         FileDescriptor out,
                         SpareFile& spare);
    PosixFileReplacement(const PosixFileReplacement&) = delete;
    PosixFileReplacement& operator=(const PosixFileReplacement&) = delete;
    ~PosixFileReplacement() override;

    [[nodiscard]] bool shareFromCurrent(const FileIdentity& expected, std::int64_t bytes) override;
    [[nodiscard]] Outcome
    copyFromCurrent(const FileIdentity& expected, std::int64_t offset, std::int64_t bytes) override;
    [[nodiscard]] bool sourceChanged() const override;
    [[nodiscard]] Outcome append(std::string_view content) override;
    [[nodiscard]] Result<FileIdentity> commit(const std::optional<FileIdentity>& expected) override;

private:
    [[nodiscard]] bool openSource(const FileIdentity& expected);
    [[nodiscard]] bool sourceIsUntouched() const;
    [[nodiscard]] Error sourceHasChanged();

    QByteArray m_target;
    QByteArray m_temporary;
    FileDescriptor m_out;
    FileDescriptor m_source;
    SpareFile& m_spare;
    FileIdentity m_expected;
    bool m_sourceChanged = false;
    bool m_committed = false;
};

} // namespace platform::posix
