// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/small_disk.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <sys/mount.h>

namespace support {

SmallDisk::SmallDisk(qint64 bytes)
{
    const QByteArray target = QFile::encodeName(m_folder.path());
    const QByteArray options = "size=" + QByteArray::number(bytes);
    if (::mount("none", target.constData(), "tmpfs", MS_NODEV | MS_NOSUID, options.constData()) !=
        0)
        m_problem = QStringLiteral("cannot mount a small disk: ") +
                    QString::fromLocal8Bit(std::strerror(errno));
}

bool SmallDisk::makeReadOnly()
{
    const QByteArray target = QFile::encodeName(m_folder.path());
    return ::mount("none", target.constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

SmallDisk::~SmallDisk()
{
    // Detached: whatever is still open in it goes with its last user.
    if (isMounted())
        ::umount2(QFile::encodeName(m_folder.path()).constData(), MNT_DETACH);
}

} // namespace support
