// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

namespace support {

/// An empty home in a temporary folder, removed at the end: HOME is the folder itself, the XDG
/// folders are its sub-folders config, data, cache, state and runtime.
/// Main thread.
class PrivateHome final
{
public:
    /// Creates the folders.
    [[nodiscard]] platform::Outcome create();

    /// The folder.
    [[nodiscard]] QString path() const { return m_folder.path(); }

    [[nodiscard]] QString filePath(const QString& name) const { return m_folder.filePath(name); }

    /// Where a program of that name or path may log to.
    [[nodiscard]] QString logFile(const QString& program) const;

    /// The test's own environment in this home, without a display, a bus and whatever else would
    /// lead to the desktop that the test was started on.
    [[nodiscard]] QProcessEnvironment environment() const;

private:
    QTemporaryDir m_folder;
};

} // namespace support
