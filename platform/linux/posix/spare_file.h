// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"
#include "platform/linux/posix/file_descriptor.h"

#include <QByteArray>

#include <optional>

namespace platform::posix {

/// What tells the state of the open file `file`; none when the system does not say.
[[nodiscard]] std::optional<FileIdentity> identityOf(const FileDescriptor& file);

/// A file under a hidden name that nobody needs any more, kept to be written again. It is removed
/// with its owner.
/// One thread at a time; every function may block on the disk.
class SpareFile final
{
public:
    /// An open file and its name; the taker removes or renames it.
    struct Taken
    {
        QByteArray name;
        FileDescriptor file;
    };

    SpareFile() = default;
    SpareFile(const SpareFile&) = delete;
    SpareFile& operator=(const SpareFile&) = delete;
    ~SpareFile();

    /// Keeps the file `name`, which has just been renamed, if it is otherwise in the state
    /// `expected`; else removes it. Removes the one kept before.
    void keep(const QByteArray& name, const FileIdentity& expected);

    /// Hands the file over if nobody has touched it since and nobody else has it open; else none,
    /// and it is removed.
    [[nodiscard]] std::optional<Taken> take();

    void discard();

private:
    QByteArray m_name;
    FileDescriptor m_file;
    std::optional<FileIdentity> m_identity;
};

} // namespace platform::posix
