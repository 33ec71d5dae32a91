// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/written_file.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace support {

/// A temporary folder of desktop files.
class DesktopFiles final
{
public:
    [[nodiscard]] QString folder() const { return m_folder.path(); }

    [[nodiscard]] QString path(const QString& file) const { return m_folder.filePath(file); }

    /// Writes `file`, with its sub-folders, as an application with these lines besides its type.
    [[nodiscard]] bool add(const QString& file, const QByteArray& lines) const
    {
        return writeFile(path(file), "[Desktop Entry]\nType=Application\n" + lines + '\n');
    }

private:
    QTemporaryDir m_folder;
};

} // namespace support
