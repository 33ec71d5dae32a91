// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/posix_atomic_file.h"

#include "platform/linux/posix/file_descriptor.h"
#include "platform/linux/posix/posix_file_replacement.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {

namespace {

constexpr qsizetype kDamagedCopies = 3;
/// As many as the system follows.
constexpr int kMostLinks = 40;
constexpr QLatin1StringView kDamaged(".damaged-");
constexpr QLatin1StringView kUnique("XXXXXX");

QString damagedStamp()
{
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"));
}

/// The place that `path` leads to by way of symbolic links, whether or not there is a file. Links
/// that lead round in circles, or to something that is no file, are not followed.
QString placeOf(const QString& path)
{
    QFileInfo info(path);
    for (int links = 0; links < kMostLinks && info.isSymLink(); ++links)
        info.setFile(info.symLinkTarget());
    const bool mayBeFile = !info.isSymLink() && (info.isFile() || !info.exists());
    return mayBeFile ? info.filePath() : path;
}

} // namespace

std::unique_ptr<AtomicFile> PosixAtomicFiles::at(const QString& path)
{
    return std::make_unique<PosixAtomicFile>(path);
}

void PosixAtomicFiles::makePrivateFolder(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    const int error = ::mkdir(name.constData(), S_IRWXU) == 0 ? 0 : errno;
    if (error == EEXIST && QFileInfo(path).isDir())
        ::chmod(name.constData(), S_IRWXU);
    if (error == ENOENT && QFileInfo(path).path() != path) {
        makePrivateFolder(QFileInfo(path).path()); // a missing one: no existing one is closed so
        ::mkdir(name.constData(), S_IRWXU);
    }
}

PosixAtomicFile::PosixAtomicFile(const QString& path)
    : m_path(placeOf(path))
    , m_folder(QFileInfo(m_path).path())
    , m_name(QFileInfo(m_path).fileName())
{
}

QString PosixAtomicFile::path() const
{
    return m_path;
}

Result<std::unique_ptr<FileReplacement>> PosixAtomicFile::beginReplacement()
{
    m_previous.discard();
    const QString hidden = m_folder + QLatin1StringView("/.") + m_name + QLatin1Char('.') + kUnique;
    QByteArray temporary = QFile::encodeName(hidden);
    FileDescriptor out(::mkostemp(temporary.data(), O_CLOEXEC)); // mode 0600
    if (!out.isOpen())
        return systemError();
    ::flock(out.get(), LOCK_EX | LOCK_NB);
    return std::unique_ptr<FileReplacement>(new PosixFileReplacement(
        QFile::encodeName(m_path), std::move(temporary), std::move(out), m_previous));
}

std::unique_ptr<FileReplacement> PosixAtomicFile::recyclePrevious(std::int64_t bytes)
{
    std::optional<SpareFile::Taken> taken = m_previous.take();
    if (!taken)
        return nullptr;
    const int file = taken->file.get();
    // From here on the replacement removes the file if anything fails.
    auto replacement = std::make_unique<PosixFileReplacement>(
        QFile::encodeName(m_path), std::move(taken->name), std::move(taken->file), m_previous);
    if (::ftruncate(file, bytes) != 0 || ::lseek(file, 0, SEEK_END) != bytes)
        return nullptr;
    return replacement;
}

void PosixAtomicFile::discardPrevious()
{
    m_previous.discard();
}

Outcome PosixAtomicFile::keepDamagedCopy()
{
    const QByteArray current = QFile::encodeName(m_path);
    struct stat info = {};
    if (::lstat(current.constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return success();
    const QByteArray copy = nameForDamagedCopy();
    // A second name for the same bytes costs nothing however long the file; where links are not to
    // be had, the file itself moves aside.
    if (::link(current.constData(), copy.constData()) != 0 &&
        ::rename(current.constData(), copy.constData()) != 0)
        return systemError();
    ::chmod(copy.constData(), S_IRUSR | S_IWUSR);
    removeOldDamagedCopies();
    return success();
}

Outcome PosixAtomicFile::moveDamagedAside()
{
    const QByteArray aside = nameForDamagedCopy();
    if (::rename(QFile::encodeName(m_path).constData(), aside.constData()) != 0) {
        if (errno == ENOENT)
            return success();
        return systemError();
    }
    removeOldDamagedCopies();
    return success();
}

void PosixAtomicFile::removeLeftovers()
{
    const QStringList found = QDir(m_folder).entryList(
        {QLatin1Char('.') + m_name + QLatin1StringView(".??????")}, QDir::Files | QDir::Hidden);
    for (const QString& name : found) {
        const QByteArray leftover = QFile::encodeName(m_folder + QLatin1Char('/') + name);
        const FileDescriptor file(
            ::open(leftover.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
            ::unlink(leftover.constData());
    }
}

QByteArray PosixAtomicFile::nameForDamagedCopy() const
{
    const QString base = m_path + kDamaged + damagedStamp();
    QString name = base;
    for (int n = 2; QFileInfo::exists(name); ++n)
        name = base + QLatin1Char('-') + QString::number(n);
    return QFile::encodeName(name);
}

void PosixAtomicFile::removeOldDamagedCopies() const
{
    // The names sort by time.
    const QFileInfoList copies = QDir(m_folder).entryInfoList(
        {m_name + kDamaged + QLatin1Char('*')}, QDir::Files, QDir::Name | QDir::Reversed);
    // What somebody would miss most: a few damaged files in a row must not push out the long one.
    const auto largest = std::ranges::max_element(copies, {}, &QFileInfo::size);
    for (auto copy = copies.begin(); copy != copies.end(); ++copy) {
        if (copy - copies.begin() >= kDamagedCopies && copy != largest)
            QFile::remove(copy->filePath());
    }
}

} // namespace platform::posix
