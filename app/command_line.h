// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdio>

namespace app {

/// What the program was started for.
struct CommandLine
{
    enum class Task : std::uint8_t {
        Track,
        Diagnose,
        SignIn,
        SignOut,
        InstallBrowserSupport,
        RemoveBrowserSupport,
    };

    Task task = Task::Track;
    QString email; // for SignIn

    // For Track; at most one of them.
    QString url;                 // of our scheme, to be opened
    QString action;              // of the launcher, to be done: "dashboard", "login", ...
    bool isStartedByBus = false; // what the bus starts it for follows over the bus
};

/// Reads `arguments`, the program's name being the first of them. The error is a phrase for
/// complain(). Knows neither --help nor --version.
[[nodiscard]] platform::Result<CommandLine> readCommandLine(const QStringList& arguments);

/// Reads the arguments of main(). Needs no application object. Ends the process after --help and
/// --version, and with a complaint when it does not understand them.
[[nodiscard]] CommandLine parseCommandLine(int argc, char** argv);

/// Writes `text` to standard error, as one line and with nothing that a terminal would act on.
void complain(const QString& text);

/// Writes `lines` to `stream` in the same way.
void print(const QStringList& lines, std::FILE* stream);

} // namespace app
