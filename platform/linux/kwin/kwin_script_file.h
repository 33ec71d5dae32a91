// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

#include <QString>
#include <QTemporaryFile>

#include <memory>

namespace platform::kwin {

/// Where a script reports to, and what it is called in KWin.
struct KWinScriptTarget
{
    QString service; ///< The unique name of a connection of ours.
    QString path;    ///< An object there.
    QString name;    ///< The script's name.
};

/// The script as a file for KWin to read: only its owner may, and it goes with this object.
/// Main thread; writes to the memory of $XDG_RUNTIME_DIR, or to the folder of temporary files.
class KWinScriptFile final
{
public:
    /// `token` comes with each of its reports.
    [[nodiscard]] static Result<std::unique_ptr<KWinScriptFile>>
    write(const KWinScriptTarget& target, const QString& token);

    [[nodiscard]] QString path() const { return m_file.fileName(); }

private:
    explicit KWinScriptFile(const QString& nameTemplate);

    QTemporaryFile m_file;
};

} // namespace platform::kwin
