// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program/commands.h"

#include "account/auth_service.h"
#include "app/account_commands.h"
#include "app/diagnosis.h"
#include "app/wait_for.h"
#include "platform/linux/browsers/browser_support.h"
#include "platform/linux/dbus/bus_address.h"
#include "platform/linux/dbus/bus_connection.h"
#include "platform/linux/linux_environment.h"
#include "platform/linux/posix/password_prompt.h"

#include <QCoreApplication>
#include <QProcessEnvironment>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace app {

namespace {

using account::AuthService;
using platform::LinuxEnvironment;

constexpr std::chrono::seconds kTimeForTheBus(3);
constexpr std::chrono::seconds kTimeToLookAround(4);
constexpr std::chrono::seconds kTimeForTheSettings(2);
constexpr std::chrono::minutes kTimeToUnlockTheKeyring(2);

int diagnose(LinuxEnvironment& environment)
{
    environment.waitUntilDecided(kTimeToLookAround);
    const QString keyring = QStringLiteral("keyring: ") + waitFor(environment.keyringState());
    const QString answer =
        diagnosis(platform::environment(), environment.report() + QStringList{keyring});
    std::fputs(qUtf8Printable(answer), stdout);
    return EXIT_SUCCESS;
}

int report(const platform::Outcome& outcome, const char* success)
{
    if (!outcome) {
        complain(outcome.error().text);
        return EXIT_FAILURE;
    }
    std::puts(success);
    return EXIT_SUCCESS;
}

int signIn(LinuxEnvironment& environment, const QString& email)
{
    const auto password = platform::posix::readPassword("Password: ");
    if (!password)
        return report(password.error(), "");
    const auto finish = [&environment] {
        return environment.finishKeyring(kTimeToUnlockTheKeyring) &&
               environment.finishSettings(kTimeForTheSettings);
    };
    return report(app::signIn(AuthService::shared(),
                              environment.facilities().secretStore,
                              email,
                              password.value(),
                              finish),
                  "Signed in");
}

int signOut(LinuxEnvironment& environment)
{
    const auto finish = [&environment] {
        return environment.finishKeyring(kTimeToUnlockTheKeyring) &&
               environment.finishSettings(kTimeForTheSettings);
    };
    return report(app::signOut(AuthService::shared(), environment.facilities().secretStore, finish),
                  "Signed out");
}

} // namespace

Commands::Commands(int argc, char** argv, CommandLine commandLine)
    : m_argc(argc)
    , m_argv(argv)
    , m_commandLine(std::move(commandLine))
{
}

int Commands::run()
{
    switch (m_commandLine.task) {
    case CommandLine::Task::InstallBrowserSupport:
        return setUpBrowsers(false);
    case CommandLine::Task::RemoveBrowserSupport:
        return setUpBrowsers(true);
    case CommandLine::Task::SignIn:
    case CommandLine::Task::SignOut:
    case CommandLine::Task::Diagnose:
    case CommandLine::Task::Track:
        break;
    }
    return runOnDesktop();
}

int Commands::runOnDesktop()
{
    const QCoreApplication application(m_argc, m_argv);
    using namespace platform::dbus;
    const auto environment = LinuxEnvironment::create(
        connectionTo(sessionBusAddress(), QStringLiteral("session"), kTimeForTheBus));
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    platform::install(environment.value()->facilities());
    if (m_commandLine.task == CommandLine::Task::SignIn)
        return signIn(*environment.value(), m_commandLine.email);
    if (m_commandLine.task == CommandLine::Task::SignOut)
        return signOut(*environment.value());
    return diagnose(*environment.value());
}

/// Needs neither a display nor a bus.
int Commands::setUpBrowsers(bool isToRemove)
{
    const QCoreApplication application(m_argc, m_argv);
    const auto places = platform::browsers::supportPlaces(QProcessEnvironment::systemEnvironment());
    if (!places)
        return report(platform::Error{QStringLiteral("there is no home folder, set HOME")}, "");
    const auto outcome = isToRemove ? platform::browsers::removeBrowserSupport(*places)
                                    : platform::browsers::installBrowserSupport(*places);
    const QString text = outcome.lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    std::fputs(qUtf8Printable(text), outcome.isDone ? stdout : stderr);
    return outcome.isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace app
