// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/posix_atomic_file.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform::posix {

namespace {

constexpr qsizetype kDamagedCopies = 3;
/// Room for some minutes of records.
constexpr std::int64_t kReserve = 64L * 1024;
/// As many as the system follows.
constexpr int kMostLinks = 40;
constexpr QLatin1StringView kDamaged(".damaged-");

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

bool isSame(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/// True when nobody has written to the file `before` since then. Its names may have changed.
bool isSameContent(const struct stat& now, const struct stat& before)
{
    return now.st_dev == before.st_dev && now.st_ino == before.st_ino &&
           now.st_size == before.st_size && isSame(now.st_mtim, before.st_mtim);
}

bool isUntouched(const FileDescriptor& file, const struct stat& before)
{
    struct stat now = {};
    return ::fstat(file.get(), &now) == 0 && isSameContent(now, before) &&
           isSame(now.st_ctim, before.st_ctim);
}

/// True when ours is the only open descriptor of the file: only then the system grants a lease for
/// writing (fcntl(2)). A reader that opened the file when it was the current one must find it
/// unchanged until it is done.
bool isOpenNowhereElse(const FileDescriptor& file)
{
    if (::fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0)
        return false;
    ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
    return true;
}

bool isLeftBehind(const FileDescriptor& file)
{
    return file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

FileDescriptor openForReading(const QString& path)
{
    return FileDescriptor(::open(QFile::encodeName(path).constData(),
                                 O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
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
    , m_target(QFile::encodeName(m_path))
{
}

PosixAtomicFile::~PosixAtomicFile()
{
    abandon();
    if (m_flushed == m_current) // else a start after a power cut may need them
        discardOthers();
}

QString PosixAtomicFile::path() const
{
    return m_path;
}

QStringList PosixAtomicFile::leftovers() const
{
    QStringList paths;
    for (const QFileInfo& found :
         QDir(m_folder).entryInfoList({QLatin1Char('.') + m_name + QLatin1StringView(".??????")},
                                      QDir::Files | QDir::Hidden | QDir::NoSymLinks,
                                      QDir::Size)) {
        if (isLeftBehind(openForReading(found.filePath())))
            paths.append(found.filePath());
    }
    return paths;
}

void PosixAtomicFile::removeLeftovers()
{
    for (const QString& path : leftovers())
        QFile::remove(path);
}

Result<AtomicFile::Draft> PosixAtomicFile::begin(bool isLarge)
{
    abandon();
    for (;;) {
        const auto open =
            std::ranges::count_if(m_turns, [](const Turn& turn) { return turn.file.isOpen(); });
        const auto most = isLarge ? kFiles - 1 : kFiles;
        if (const int index = unneeded(); index >= 0) {
            const Turn& turn = m_turns.at(index);
            if (open <= most && isUntouched(turn.file, turn.left) && isOpenNowhereElse(turn.file)) {
                m_draft = index;
                return Draft{.file = index, .bytes = turn.length};
            }
            drop(index);
        } else if (open < most) {
            return create();
        } else if (auto flushed = flush(); !flushed) { // the other one may be needed until then
            return flushed.error();
        }
    }
}

/// One that is neither current nor what a power cut would leave.
int PosixAtomicFile::unneeded() const
{
    for (int index = 0; index < kFiles; ++index) {
        if (m_turns.at(index).file.isOpen() && index != m_current && index != m_flushed)
            return index;
    }
    return -1;
}

Result<AtomicFile::Draft> PosixAtomicFile::create()
{
    QByteArray name = QFile::encodeName(m_folder + QLatin1StringView("/.") + m_name +
                                        QLatin1StringView(".XXXXXX"));
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC)); // mode 0600
    if (!file.isOpen())
        return systemError();
    ::flock(file.get(), LOCK_EX | LOCK_NB);
    // Should somebody open it while we look whether anybody has, the notice is a signal that is
    // ignored.
    ::fcntl(file.get(), F_SETSIG, SIGURG);
    const auto* const unused =
        std::ranges::find_if(m_turns, [](const Turn& turn) { return !turn.file.isOpen(); });
    m_draft = static_cast<int>(unused - m_turns.begin());
    m_turns.at(m_draft) = {.name = std::move(name), .file = std::move(file)};
    return Draft{.file = m_draft, .bytes = 0};
}

Outcome PosixAtomicFile::write(std::int64_t offset, std::string_view content)
{
    Turn& draft = m_turns.at(m_draft);
    if (const std::int64_t end = offset + std::ssize(content); end > draft.reserved) {
        // Otherwise every few saves a flush would have to write down which blocks are in use, too.
        // Where that is not to be had, writing does without.
        draft.reserved = end + kReserve;
        ::fallocate(draft.file.get(), FALLOC_FL_KEEP_SIZE, 0, draft.reserved);
    }
    while (!content.empty()) {
        const ssize_t written = ::pwrite(draft.file.get(), content.data(), content.size(), offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return systemError();
        content.remove_prefix(static_cast<std::size_t>(written));
        offset += written;
    }
    draft.length = std::max(draft.length, offset);
    return success();
}

Outcome PosixAtomicFile::copyFromCurrent(std::int64_t offset, std::int64_t bytes)
{
    Turn& draft = m_turns.at(m_draft);
    const std::int64_t end = offset + bytes;
    while (offset < end) {
        off64_t from = offset;
        off64_t to = offset;
        const ssize_t copied = ::copy_file_range(m_turns.at(m_current).file.get(),
                                                 &from,
                                                 draft.file.get(),
                                                 &to,
                                                 static_cast<std::size_t>(end - offset),
                                                 0);
        if (copied < 0 && errno == EINTR)
            continue;
        if (copied < 0)
            return systemError();
        if (copied == 0)
            return Error{QStringLiteral("another program has shortened the file")};
        offset += copied;
    }
    draft.length = std::max(draft.length, end);
    return success();
}

bool PosixAtomicFile::isCurrentUntouched() const
{
    return m_current >= 0 && isUntouched(m_turns.at(m_current).file, m_turns.at(m_current).left);
}

Outcome PosixAtomicFile::commit(std::int64_t bytes)
{
    Turn& draft = m_turns.at(m_draft);
    if (draft.length > bytes) {
        if (::ftruncate(draft.file.get(), bytes) != 0)
            return systemError();
        draft.reserved = 0;
    }
    struct stat written = {};
    if (::fstat(draft.file.get(), &written) != 0)
        return systemError();
    if (m_current < 0 || !exchange(draft)) {
        // What is there now, if anything, will be gone.
        if (::fdatasync(draft.file.get()) != 0 ||
            ::rename(draft.name.constData(), m_target.constData()) != 0)
            return systemError();
        if (m_current >= 0)
            drop(m_current);
        m_flushed = m_draft;
    }
    draft.name.clear();
    draft.length = bytes;
    m_current = std::exchange(m_draft, -1);
    if (::fstat(draft.file.get(), &draft.left) != 0)
        return systemError();
    if (!isSameContent(draft.left, written))
        draft.left = written; // others were quick: by its times it is not as we left it
    return m_flushed < 0 ? flush() : success();
}

/// Lets the draft and the current file change places. What comes out is removed if it is not as we
/// left it.
bool PosixAtomicFile::exchange(Turn& draft)
{
    if (::renameat2(
            AT_FDCWD, draft.name.constData(), AT_FDCWD, m_target.constData(), RENAME_EXCHANGE) != 0)
        return false;
    Turn& before = m_turns.at(m_current);
    before.name = draft.name;
    struct stat now = {};
    if (::lstat(before.name.constData(), &now) != 0 || !isSameContent(now, before.left))
        drop(m_current);
    else
        before.left = now; // the change of its name has changed a time
    return true;
}

void PosixAtomicFile::abandon()
{
    if (m_draft >= 0)
        drop(m_draft);
}

Outcome PosixAtomicFile::flush()
{
    if (m_current < 0) {
        const FileDescriptor found = openForReading(m_path);
        if (found.isOpen())
            ::fdatasync(found.get()); // if it is something that can be
        return success();
    }
    if (m_flushed != m_current && ::fdatasync(m_turns.at(m_current).file.get()) != 0)
        return systemError();
    m_flushed = m_current;
    return success();
}

void PosixAtomicFile::discardOthers()
{
    bool isAny = false;
    for (int index = 0; index < kFiles; ++index) {
        if (index != m_current && m_turns.at(index).file.isOpen()) {
            drop(index);
            isAny = true;
        }
    }
    if (!isAny)
        return;
    if (const FileDescriptor folder = openForReading(m_folder); folder.isOpen())
        ::fsync(folder.get());
}

/// Closes one of the files and, where it is hidden, removes it.
void PosixAtomicFile::drop(int index)
{
    Turn& turn = m_turns.at(index);
    if (!turn.name.isEmpty())
        ::unlink(turn.name.constData());
    turn = Turn();
    for (int* const role : {&m_current, &m_flushed, &m_draft}) {
        if (*role == index)
            *role = -1;
    }
}

Outcome PosixAtomicFile::keepDamagedCopy()
{
    struct stat info = {};
    if (::lstat(m_target.constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return success();
    const QByteArray copy = nameForDamagedCopy();
    // A second name for the same bytes costs nothing however long the file; where links are not to
    // be had, the file itself moves aside.
    if (::link(m_target.constData(), copy.constData()) != 0 &&
        ::rename(m_target.constData(), copy.constData()) != 0)
        return systemError();
    ::chmod(copy.constData(), S_IRUSR | S_IWUSR);
    removeOldDamagedCopies();
    return success();
}

Outcome PosixAtomicFile::moveDamagedAside()
{
    const QByteArray aside = nameForDamagedCopy();
    if (::rename(m_target.constData(), aside.constData()) != 0) {
        if (errno == ENOENT)
            return success();
        return systemError();
    }
    removeOldDamagedCopies();
    return success();
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

Outcome replaceFile(const QString& path, const QByteArray& content)
{
    PosixAtomicFile file(path);
    file.removeLeftovers();
    if (const auto begun = file.begin(false); !begun)
        return begun.error();
    if (Outcome written = file.write(0, {content.constData(), std::size_t(content.size())});
        !written)
        return written;
    return file.commit(content.size());
}

} // namespace platform::posix
