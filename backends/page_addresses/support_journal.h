// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace platform::browsers {

/// Creates files and remembers them in a file of its own, an undo log, so that exactly they can be
/// taken away again.
/// One thread. Blocks on the disk.
class SupportJournal final
{
public:
    /// Keeps its list in the file "created" in `folder`, which it creates with everything else.
    explicit SupportJournal(const QString& folder);

    /// Writes a file and the folders that lead to it. One that is there already is replaced only
    /// if it holds `mark`.
    [[nodiscard]] Outcome
    write(const QString& path, const QByteArray& content, const QByteArray& mark);

    /// Removes the files that still hold one of `marks`, then the folders that are empty, then the
    /// list. The result is what has been removed of the files.
    [[nodiscard]] Result<QStringList> undo(const QList<QByteArray>& marks);

private:
    [[nodiscard]] Outcome makeFolder(const QString& path);
    [[nodiscard]] Outcome remember(const QString& path);

    QString m_list;
    QStringList m_created;
};

} // namespace platform::browsers
