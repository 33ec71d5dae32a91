// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/spare_file.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace platform::posix {

namespace {

std::int64_t nanoseconds(const timespec& time)
{
    constexpr std::int64_t kPerSecond = 1'000'000'000;
    return (time.tv_sec * kPerSecond) + time.tv_nsec;
}

/// True when ours is the only open descriptor of the file: only then the system grants a lease for
/// writing (fcntl(2)). A reader that opened the file when it was the current one must find it
/// unchanged until it is done.
bool isOpenNowhereElse(const FileDescriptor& file)
{
    // Should somebody open it at this very moment, the notice is a signal that is ignored.
    ::fcntl(file.get(), F_SETSIG, SIGURG);
    if (::fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0)
        return false;
    ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
    return true;
}

} // namespace

std::optional<FileIdentity> identityOf(const FileDescriptor& file)
{
    struct stat info = {};
    if (::fstat(file.get(), &info) != 0)
        return std::nullopt;
    return FileIdentity{
        .device = info.st_dev,
        .inode = info.st_ino,
        .bytes = info.st_size,
        .modifiedNanoseconds = nanoseconds(info.st_mtim),
        .changedNanoseconds = nanoseconds(info.st_ctim),
    };
}

SpareFile::~SpareFile()
{
    discard();
}

void SpareFile::keep(const QByteArray& name, const FileIdentity& expected)
{
    discard();
    m_name = name;
    m_file = FileDescriptor(::open(name.constData(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    m_identity = m_file.isOpen() ? identityOf(m_file) : std::nullopt;
    std::optional<FileIdentity> comparable = m_identity;
    if (comparable) // renaming counts as a change
        comparable->changedNanoseconds = expected.changedNanoseconds;
    if (comparable != expected || ::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0)
        discard();
}

std::optional<SpareFile::Taken> SpareFile::take()
{
    if (!m_file.isOpen() || identityOf(m_file) != m_identity || !isOpenNowhereElse(m_file)) {
        discard();
        return std::nullopt;
    }
    m_identity.reset();
    return Taken{.name = std::exchange(m_name, {}),
                 .file = std::exchange(m_file, FileDescriptor())};
}

void SpareFile::discard()
{
    if (!m_name.isEmpty())
        ::unlink(m_name.constData());
    m_name.clear();
    m_file = FileDescriptor();
    m_identity.reset();
}

} // namespace platform::posix
