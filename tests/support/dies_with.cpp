// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/dies_with.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

/// The child's part; does not return.
[[noreturn]] void runInChild(int output, const std::function<void()>& action)
{
    const rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::dup2(output, STDERR_FILENO);
    std::signal(SIGABRT, SIG_DFL); // the test library would print a stack trace, which takes long
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& message) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(message));
        std::fflush(stderr);
    });
    action();
    ::_exit(EXIT_SUCCESS);
}

QByteArray readAll(int input)
{
    QByteArray all;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(input, buffer, sizeof buffer)) > 0;)
        all.append(buffer, got);
    return all;
}

} // namespace

bool diesWith(const char* text, const std::function<void()>& action)
{
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0)
        return false;
    const pid_t child = ::fork();
    if (child == 0)
        runInChild(ends[1], action);
    ::close(ends[1]);
    const QByteArray said = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        return false;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT && said.contains(text);
}

} // namespace support
