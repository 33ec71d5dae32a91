// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"
#include "base/result.h"

#include <QString>

#include <chrono>

namespace platform::posix {

/// The right to write into a data folder: at most one process on this machine has it, whatever
/// session bus it is on. An advisory lock on the file ".lock" in the folder, which stays there and
/// tells the process number of its holder. Given back with this object, with the process, and when
/// the process becomes another program.
/// Any thread.
class InstanceLock final
{
public:
    /// For `folder`, which is made when it is missing, for its owner alone.
    explicit InstanceLock(QString folder);

    /// Takes the lock, waiting at most `limit` for a holder that is about to end. The error says
    /// who holds it, or what the system has against it. Where the file system knows no locks there
    /// is nothing to take, which is a success with a warning().
    [[nodiscard]] Outcome acquire(std::chrono::milliseconds limit);

    /// After a success: why there is no lock all the same; empty when there is one.
    [[nodiscard]] const QString& warning() const { return m_warning; }

    /// Whether acquire() failed because another process holds the lock, and not because the system
    /// does not let us ask.
    [[nodiscard]] bool isTaken() const { return m_isTaken; }

private:
    QString m_folder;
    FileDescriptor m_file;
    bool m_isTaken = false;
    QString m_warning;
};

} // namespace platform::posix
