// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/support_journal.h"

#include "backends/posix/posix_atomic_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace platform::browsers {

namespace {

constexpr qint64 kLongestFile = 1024LL * 1024;

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? file.read(kLongestFile)
                                                                      : QByteArray();
}

Outcome save(const QString& path, const QByteArray& content)
{
    if (const Outcome written = posix::replaceFile(path, content); !written)
        return Error{QStringLiteral("cannot write %1: %2").arg(path, written.error().text)};
    return success();
}

} // namespace

SupportJournal::SupportJournal(const QString& folder)
    : m_list(folder + QStringLiteral("/created"))
    , m_created(QString::fromUtf8(contentOf(m_list)).split(u'\n', Qt::SkipEmptyParts))
{
}

Outcome
SupportJournal::write(const QString& path, const QByteArray& content, const QByteArray& mark)
{
    const QFileInfo info(path);
    if ((info.exists() || info.isSymLink()) && !contentOf(path).contains(mark))
        return Error{QStringLiteral("%1 is not ours and stays as it is").arg(path)};
    if (const auto made = makeFolder(info.path()); !made)
        return made;
    if (const auto remembered = remember(path); !remembered)
        return remembered;
    return save(path, content);
}

Outcome SupportJournal::makeFolder(const QString& path)
{
    if (QFileInfo(path).isDir())
        return success();
    if (const auto made = makeFolder(QFileInfo(path).path()); !made)
        return made;
    if (!QDir().mkdir(path))
        return Error{QStringLiteral("cannot create the folder %1").arg(path)};
    return remember(path);
}

/// Known before it is there, so that nothing is forgotten whatever happens. The folders of the list
/// itself come first and are written down with the next entry.
Outcome SupportJournal::remember(const QString& path)
{
    if (m_created.contains(path))
        return success();
    m_created += path;
    if (!QFileInfo(QFileInfo(m_list).path()).isDir()) {
        if (m_list.startsWith(path + u'/'))
            return success();
        if (const auto made = makeFolder(QFileInfo(m_list).path()); !made)
            return made;
    }
    return save(m_list, (m_created.join(u'\n') + u'\n').toUtf8());
}

Result<QStringList> SupportJournal::undo(const QList<QByteArray>& marks)
{
    QStringList removed;
    QStringList folders;
    for (const QString& path : std::as_const(m_created)) {
        if (QFileInfo(path).isDir()) {
            folders += path;
            continue;
        }
        const QByteArray content = contentOf(path);
        const bool isOurs = std::ranges::any_of(
            marks, [&content](const QByteArray& mark) { return content.contains(mark); });
        if (isOurs && !QFile::remove(path))
            return Error{QStringLiteral("cannot remove ") + path};
        if (isOurs)
            removed += path;
    }
    QFile::remove(m_list);
    // The deeper ones first; others' files keep a folder.
    std::ranges::sort(folders, std::ranges::greater(), &QString::size);
    for (const QString& folder : std::as_const(folders))
        QDir().rmdir(folder);
    m_created.clear();
    return removed;
}

} // namespace platform::browsers
