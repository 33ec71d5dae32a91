// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"
#include "platform/linux/posix/file_descriptor.h"

#include <QByteArray>

namespace platform::posix {

/// New content in a file of its own, which commit() renames over the current one.
class PosixFileReplacement final : public FileReplacement
{
public:
    /// `out` is the open, empty file `temporary`, in the folder of `target`. Both names are in the
    /// file system's encoding.
    PosixFileReplacement(QByteArray target, QByteArray temporary, FileDescriptor out);
    ~PosixFileReplacement() override;

    [[nodiscard]] bool shareFromCurrent(const FileIdentity& expected, std::int64_t bytes) override;
    [[nodiscard]] Outcome
    copyFromCurrent(const FileIdentity& expected, std::int64_t offset, std::int64_t bytes) override;
    [[nodiscard]] bool sourceChanged() const override;
    [[nodiscard]] Outcome append(std::string_view content) override;
    [[nodiscard]] Result<FileIdentity> commit() override;

private:
    [[nodiscard]] bool openSource(const FileIdentity& expected);
    [[nodiscard]] bool sourceIsUntouched() const;
    [[nodiscard]] Error sourceHasChanged();

    QByteArray m_target;
    QByteArray m_temporary;
    FileDescriptor m_out;
    FileDescriptor m_source;
    FileIdentity m_expected;
    bool m_sourceChanged = false;
    bool m_committed = false;
};

} // namespace platform::posix
