// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What the program does with its session bus and nothing else: prints what is asked of it, a line
// each, until it is asked to quit. Its arguments are those of the program; it needs no display.
//
//   SHELL_CLIENT_LOG    a file to write to instead of standard output
//   SHELL_CLIENT_WAIT   ends in its own time: a line "ending", then no earlier than this many
//                       milliseconds later
#include "app/command_line.h"
#include "backends/dbus/application_service.h"
#include "backends/dbus/bus_address.h"

#include <QCoreApplication>
#include <QTimer>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using platform::ActivationToken;
using platform::dbus::ApplicationCall;
using platform::dbus::ApplicationService;
using platform::dbus::BusReturn;
using platform::dbus::StartResult;

/// One write for a line: several of these programs share a log.
void say(const QString& text)
{
    static const int output = [] {
        const QByteArray log = qgetenv("SHELL_CLIENT_LOG");
        return log.isEmpty() ? STDOUT_FILENO
                             : ::open(log.constData(), O_WRONLY | O_APPEND | O_CREAT, 0600);
    }();
    const QByteArray line = text.toUtf8() + '\n';
    if (::write(output, line.constData(), size_t(line.size())) != line.size())
        std::abort();
}

std::optional<ApplicationCall> requestIn(const app::CommandLine& commandLine)
{
    using Kind = ApplicationCall::Kind;
    if (commandLine.isStartedByBus)
        return std::nullopt;
    if (!commandLine.url.isEmpty())
        return ApplicationCall{.kind = Kind::Open, .text = commandLine.url, .token = {}};
    if (!commandLine.action.isEmpty())
        return ApplicationCall{.kind = Kind::Action, .text = commandLine.action, .token = {}};
    return ApplicationCall{};
}

void end(ApplicationService& service)
{
    service.release();
    say(QStringLiteral("ending"));
    QTimer::singleShot(
        qEnvironmentVariableIntValue("SHELL_CLIENT_WAIT"), qApp, [] { QCoreApplication::quit(); });
}

void printCalls(ApplicationService& service)
{
    QObject::connect(&service, &ApplicationService::activated, qApp, [](const auto& token) {
        say(QStringLiteral("activated [%1]").arg(token.value));
    });
    QObject::connect(
        &service, &ApplicationService::urlOpened, qApp, [](const QString& url, const auto& token) {
            say(QStringLiteral("url %1 [%2]").arg(url, token.value));
        });
    QObject::connect(&service,
                     &ApplicationService::actionRequested,
                     qApp,
                     [&service](const QString& name, const ActivationToken& token) {
                         say(QStringLiteral("action %1 [%2]").arg(name, token.value));
                         if (name == QLatin1StringView("quit"))
                             end(service);
                     });
}

int run(ApplicationService& service, bool endsWithBus)
{
    BusReturn busReturn(
        service.address(), std::chrono::milliseconds(50), std::chrono::milliseconds(200));
    QObject::connect(&service, &ApplicationService::connectionLost, qApp, [&] {
        say(QStringLiteral("connection lost"));
        busReturn.start();
        if (endsWithBus)
            QCoreApplication::quit();
    });
    QObject::connect(&busReturn, &BusReturn::busIsBack, qApp, [] {
        say(QStringLiteral("bus is back"));
        QCoreApplication::quit();
    });
    printCalls(service);
    service.begin();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    const app::CommandLine commandLine = app::parseCommandLine(argc, argv);
    // The test, or its shell, may end before its time. A bus forks twice: what it starts has lost
    // its parent from the beginning, and ends with the bus.
    if (!commandLine.isStartedByBus)
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ApplicationService service;
    const StartResult start = claimOrHandOver(service, requestIn(commandLine));
    switch (start.kind) {
    case StartResult::Kind::HandedOver:
        say(QStringLiteral("handed over"));
        return EXIT_SUCCESS;
    case StartResult::Kind::Failed:
    case StartResult::Kind::Alone:
        app::complain(start.text);
        return EXIT_FAILURE;
    case StartResult::Kind::First:
        break;
    }
    say(QStringLiteral("first"));
    const QCoreApplication application(argc, argv);
    return run(service, commandLine.isStartedByBus);
}
