// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/stored_activities.h"

#include "activity/activity_file_reader.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <optional>
#include <utility>

namespace activity {

namespace {

constexpr qint64 kPiece = 64L * 1024;

std::optional<StoredActivities> read(const QString& path)
{
    QFile file(path);
    // Anything but a regular file is not opened: a pipe would hold the start up.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    StoredActivities stored;
    std::optional<ActivityList> list = readActivityFile(file, stored.pool);
    if (!list)
        return std::nullopt;
    stored.list = std::move(*list);
    return stored;
}

/// True when the file `later` holds what `earlier` does and more at the end of the list. Their
/// times say nothing: after a power cut a file may have the time of a change and lack the change.
bool goesOnFrom(const QString& later, const QString& earlier)
{
    QFile longer(later);
    QFile shorter(earlier);
    if (!longer.open(QIODevice::ReadOnly) || !shorter.open(QIODevice::ReadOnly) ||
        longer.size() <= shorter.size())
        return false;
    for (qint64 left = shorter.size() - 1; left > 0;) { // all but the closing bracket
        const QByteArray piece = shorter.read(std::min(left, kPiece));
        if (piece.isEmpty() || longer.read(piece.size()) != piece)
            return false;
        left -= piece.size();
    }
    return true;
}

} // namespace

StoredActivities readStoredActivities(const QString& path, const platform::AtomicFile& file)
{
    std::optional<StoredActivities> stored = read(path);
    for (const QString& leftover : file.leftovers()) {
        if (stored && !goesOnFrom(leftover, path))
            continue;
        if (auto better = read(leftover)) {
            better->isRepaired = true;
            return std::move(*better);
        }
    }
    if (stored)
        return std::move(*stored);
    StoredActivities nothing;
    // A link to where nothing is may lead to a disk that is missing now. Should it come back with a
    // list of its own, that one is kept, not replaced.
    nothing.isUnreadable = QFileInfo::exists(path) || QFileInfo(path).isSymLink();
    return nothing;
}

} // namespace activity
