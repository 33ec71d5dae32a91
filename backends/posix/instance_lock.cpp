// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/instance_lock.h"

#include "backends/posix/posix_atomic_file.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace platform::posix {

namespace {

constexpr std::chrono::milliseconds kBetweenAttempts(20);

Error about(const QString& path, const char* what)
{
    return {
        QStringLiteral("cannot %1 %2: %3").arg(QLatin1StringView(what), path, systemError().text)};
}

Result<FileDescriptor> openLockFile(const QString& path)
{
    // Whatever lies there in its place must not make the start hang.
    FileDescriptor file(::open(QFile::encodeName(path).constData(),
                               O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
                               S_IRUSR | S_IWUSR));
    struct stat info = {};
    if (!file.isOpen() || ::fstat(file.get(), &info) != 0)
        return about(path, "open");
    if (!S_ISREG(info.st_mode))
        return Error{QStringLiteral("%1 is not a file; move it away").arg(path)};
    return file;
}

/// Whether `path` still names the open `file`: a lock on a file that somebody removed keeps nobody
/// out.
bool isStillAt(const QString& path, const FileDescriptor& file)
{
    struct stat named = {};
    struct stat open = {};
    return ::stat(QFile::encodeName(path).constData(), &named) == 0 &&
           ::fstat(file.get(), &open) == 0 && named.st_ino == open.st_ino &&
           named.st_dev == open.st_dev;
}

Error taken(const FileDescriptor& file, const QString& path)
{
    char buffer[16] = {};
    const ssize_t length = ::pread(file.get(), buffer, sizeof buffer - 1, 0);
    const qint64 pid = length > 0 ? QByteArray(buffer).trimmed().toLongLong() : 0;
    const QString holder =
        pid > 0 ? QStringLiteral("process %1").arg(pid) : QStringLiteral("another process");
    return {QStringLiteral("%1 already records into this folder (%2)").arg(holder, path)};
}

void writeHolder(const FileDescriptor& file)
{
    const QByteArray text = QByteArray::number(qint64(::getpid())) + '\n';
    // Only for the message of those who come later: nothing depends on it.
    if (::ftruncate(file.get(), 0) == 0)
        static_cast<void>(::pwrite(file.get(), text.constData(), size_t(text.size()), 0));
}

enum class Attempt : std::uint8_t {
    Locked,
    Taken,
    Impossible, // the file system has no locks
    Failed,
};

Attempt tryToLock(const FileDescriptor& file)
{
    if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return Attempt::Locked;
    switch (errno) {
    case EWOULDBLOCK:
    case EINTR:
        return Attempt::Taken;
    case ENOLCK:
    case EOPNOTSUPP:
    case ENOSYS:
        return Attempt::Impossible;
    default:
        return Attempt::Failed;
    }
}

} // namespace

InstanceLock::InstanceLock(QString folder)
    : m_folder(std::move(folder))
{
}

Outcome InstanceLock::acquire(std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    const QString path = m_folder + QLatin1StringView("/.lock");
    PosixAtomicFiles().makePrivateFolder(m_folder);
    m_isTaken = false;
    m_warning.clear();
    for (;;) {
        auto opened = openLockFile(path);
        if (!opened)
            return opened.error();
        FileDescriptor file = std::move(opened).value();
        const Attempt attempt = tryToLock(file);
        if (attempt == Attempt::Failed)
            return about(path, "lock");
        if (attempt == Attempt::Impossible) {
            m_warning = about(path, "lock").text +
                        QLatin1StringView("; nothing keeps a second session from recording into "
                                          "this folder, and the two would replace each other's "
                                          "records");
            return success();
        }
        if (attempt == Attempt::Locked && isStillAt(path, file)) {
            writeHolder(file);
            m_file = std::move(file);
            return success();
        }
        if (attempt == Attempt::Taken && deadline.hasExpired()) {
            m_isTaken = true;
            return taken(file, path);
        }
        std::this_thread::sleep_for(kBetweenAttempts);
    }
}

} // namespace platform::posix
