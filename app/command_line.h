// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QString>

#include <cstdint>

namespace app {

/// What the program was started for.
struct CommandLine
{
    enum class Task : std::uint8_t {
        Track,
        Diagnose,
        SignIn,
        SignOut,
    };

    Task task = Task::Track;
    QString email; // for SignIn
};

/// Reads the arguments of `application`. Ends the process after --help and --version, and with a
/// complaint when it does not understand them.
[[nodiscard]] CommandLine parseCommandLine(const QCoreApplication& application);

/// Writes `text` to standard error.
void complain(const QString& text);

} // namespace app
