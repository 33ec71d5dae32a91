// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <map>

namespace platform::xdg {

/// Whether anything has happened in some folders (inotify). What happens elsewhere to a folder that
/// is on the network is not told, nor that another one has taken its place behind a symbolic link.
/// One thread at a time.
class FolderWatch final
{
public:
    FolderWatch();

    /// Watches `folder` from now on; while it does not exist, for its coming. Blocks on the disk.
    void add(const QString& folder);

    /// Whether something may have changed since the last call. Reads what the kernel has noted and
    /// touches no folder: never blocks.
    [[nodiscard]] bool hasChanged();

    /// Whether all folders are watched: the system has only so many watches.
    [[nodiscard]] bool isComplete() const { return m_isComplete; }

private:
    [[nodiscard]] bool watch(const QByteArray& folder, const QByteArray& name);

    posix::FileDescriptor m_descriptor;
    bool m_isComplete;
    /// The names of interest in a folder, by the number of its watch; an empty list for all.
    std::map<int, QByteArrayList> m_names;
};

} // namespace platform::xdg
