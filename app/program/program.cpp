// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program/program.h"

#include "app/command_line.h"
#include "app/program/commands.h"
#include "platform/build_config.h"
#include "platform/linux/posix/process_shield.h"

#include <QCoreApplication>

namespace app {

int runProgram(int argc, char** argv, const Agent::Facilities& facilities)
{
    platform::posix::shieldThisProcess();
    QCoreApplication::setApplicationName(QStringLiteral("Quillstep"));
    QCoreApplication::setApplicationVersion(
        QString::fromUtf8(platform::kVersion.data(), platform::kVersion.size()));
    const CommandLine commandLine = parseCommandLine(argc, argv);
    return commandLine.task == CommandLine::Task::Track
               ? Agent(argc, argv, commandLine, facilities).run()
               : Commands(argc, argv, commandLine).run();
}

} // namespace app
