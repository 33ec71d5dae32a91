// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

namespace platform::xdg {

/// The value of a desktop file's Exec key (Desktop Entry Specification, "The Exec key") that starts
/// the program `path` without arguments. Not yet escaped as every text value of the file is.
[[nodiscard]] QString execLine(const QString& path);

/// The program that such a value starts, also through "env NAME=VALUE ...", as it names it; empty
/// when it names none or its quotes do not match.
[[nodiscard]] QString programOfExecLine(const QString& line);

/// Whether `program` can be run: an absolute path leads to an executable file, a name is one of a
/// program in `folders`. Asks the disk.
[[nodiscard]] bool canRun(const QString& program, const QStringList& folders);

} // namespace platform::xdg
