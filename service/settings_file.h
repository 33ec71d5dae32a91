// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/result.h"

#include <QString>

#include <map>
#include <string>

namespace service {

/// A line of a settings file.
struct FileSetting
{
    QString value;
    int line = 0; ///< from 1
};

/// Reads a file of lines "KEY = VALUE", in UTF-8; empty ones and those that begin with # or ; are
/// comments. The error names the line, and never a value. Any thread; blocks on the disk.
[[nodiscard]] Result<std::map<QString, FileSetting>> readSettingsFile(const QString& path);

/// What may be shown of `text`, where an address of a database, with its password, may stand
/// instead of what was expected: of such a one no more than "postgresql://...". Any thread.
[[nodiscard]] std::string withoutPassword(const QString& text);

} // namespace service
