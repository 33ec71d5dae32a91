// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program/commands.h"

#include "account/auth_service.h"
#include "app/account_commands.h"
#include "app/diagnosis.h"
#include "app/wait_for.h"
#include "platform/linux/browsers/browser_support.h"
#include "platform/linux/dbus/bus_address.h"
#include "platform/linux/dbus/forwarding.h"
#include "platform/linux/linux_environment.h"
#include "platform/wipe.h"
#include "terminal/password_prompt.h"

#include <QCoreApplication>
#include <QProcessEnvironment>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

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
    print(diagnosis(platform::environment(), environment.report() + QStringList{keyring}), stdout);
    return EXIT_SUCCESS;
}

int report(const platform::Result<QString>& outcome)
{
    if (!outcome) {
        complain(outcome.error().text);
        return EXIT_FAILURE;
    }
    print({outcome.value()}, stdout);
    return EXIT_SUCCESS;
}

AccountSurroundings around(LinuxEnvironment& environment, const QDBusConnection& bus)
{
    return {.finishKeyring =
                [&environment] { return environment.finishKeyring(kTimeToUnlockTheKeyring); },
            .finishSettings =
                [&environment] { return environment.finishSettings(kTimeForTheSettings); },
            .askInstance =
                [bus](QLatin1StringView task) {
                    return platform::dbus::askRunningInstance(bus, task);
                }};
}

int signIn(LinuxEnvironment& environment, const QDBusConnection& bus, const QString& email)
{
    terminal::PasswordAnswer answer = terminal::readPassword("Password: ");
    if (const auto* const fault = std::get_if<std::string>(&answer))
        return report(platform::Error{QString::fromStdString(*fault)});
    auto& secret = *std::get_if<terminal::Secret>(&answer);
    const std::string_view typed = secret.view();
    QString password = QString::fromUtf8(typed.data(), static_cast<qsizetype>(typed.size()));
    secret.clear();
    const auto outcome = app::signIn(AuthService::shared(),
                                     environment.facilities().secretStore,
                                     email,
                                     password,
                                     around(environment, bus));
    platform::wipe(password);
    return report(outcome);
}

int signOut(LinuxEnvironment& environment, const QDBusConnection& bus, bool isDoneByInstance)
{
    const platform::Result<QString> text =
        isDoneByInstance
            ? signedOutText(AuthService::owesRemoval(environment.facilities().userDefaults))
            : app::signOut(AuthService::shared(), around(environment, bus));
    return report(text);
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
    const QDBusConnection bus =
        connectionTo(sessionBusAddress(), QStringLiteral("session"), kTimeForTheBus);
    const bool isToSignOut = m_commandLine.task == CommandLine::Task::SignOut;
    // Before the settings are read: they say then what the instance has done.
    const auto signedOut =
        isToSignOut ? askRunningInstance(bus, platform::tasks::kSignOut) : std::nullopt;
    if (signedOut && !*signedOut)
        return report(signedOut->error());
    const auto environment = LinuxEnvironment::create(bus);
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    platform::install(environment.value()->facilities());
    if (m_commandLine.task == CommandLine::Task::SignIn)
        return signIn(*environment.value(), bus, m_commandLine.email);
    if (isToSignOut)
        return signOut(*environment.value(), bus, signedOut.has_value());
    return diagnose(*environment.value());
}

/// Needs neither a display nor a bus.
int Commands::setUpBrowsers(bool isToRemove)
{
    const QCoreApplication application(m_argc, m_argv);
    const auto places = platform::browsers::supportPlaces(QProcessEnvironment::systemEnvironment());
    if (!places)
        return report(platform::Error{QStringLiteral("there is no home folder, set HOME")});
    const auto outcome = isToRemove ? platform::browsers::removeBrowserSupport(*places)
                                    : platform::browsers::installBrowserSupport(*places);
    print(outcome.lines, outcome.isDone ? stdout : stderr);
    return outcome.isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace app
