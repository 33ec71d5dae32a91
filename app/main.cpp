// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/account_commands.h"
#include "app/command_line.h"
#include "app/diagnosis.h"
#include "app/wait_for.h"
#include "platform/build_config.h"
#include "platform/linux/linux_environment.h"
#include "platform/linux/posix/password_prompt.h"
#include "platform/linux/posix/termination_signals.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using account::AuthService;
using app::complain;
using platform::LinuxEnvironment;
using syncing::SyncService;

constexpr std::chrono::seconds kTimeForTheOwedSave(2);
constexpr std::chrono::seconds kTimeForTheKeyring(2);
constexpr std::chrono::minutes kTimeToUnlockTheKeyring(2);

/// Starts the uploads anew with each sign-in; after a sign-out they go on and say so.
void uploadWhileSignedIn()
{
    if (!AuthService::shared().isAuthenticated())
        return;
    SyncService::shared().stopTimer();
    SyncService::shared().setupTimer();
}

int track(LinuxEnvironment& environment, const platform::posix::TerminationSignals& signals)
{
    QObject::connect(
        &signals, &platform::posix::TerminationSignals::requested, qApp, &QCoreApplication::quit);
    QObject::connect(
        &environment, &LinuxEnvironment::sessionEnded, qApp, [](const QString& reason) {
            complain(reason + QStringLiteral("; the session is over"));
            QCoreApplication::exit(EXIT_FAILURE);
        });
    if (const QString limitation = environment.limitation(); !limitation.isEmpty())
        complain(limitation);

    QObject::connect(
        &AuthService::shared(), &AuthService::isAuthenticatedChanged, qApp, uploadWhileSignedIn);
    uploadWhileSignedIn();
    tracking::TrackingEngine::shared().start();
    const int code = QCoreApplication::exec();
    tracking::TrackingEngine::shared().stop();
    if (!environment.finish(kTimeForTheKeyring))
        complain(QStringLiteral("the keyring or the settings were not written in time"));
    if (!activity::DataStore::shared().finishSaving(kTimeForTheOwedSave)) {
        complain(QStringLiteral("the last seconds could not be saved in time"));
        // The writer hangs in the system and still uses what main() is about to take down.
        std::_Exit(EXIT_FAILURE);
    }
    return code;
}

int diagnose(LinuxEnvironment& environment)
{
    const QString keyring = QStringLiteral("keyring: ") + app::waitFor(environment.keyringState());
    const QString answer =
        app::diagnosis(platform::environment(), environment.report() + QStringList{keyring});
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
        return environment.finish(kTimeToUnlockTheKeyring);
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
        return environment.finish(kTimeToUnlockTheKeyring);
    };
    return report(app::signOut(AuthService::shared(), environment.facilities().secretStore, finish),
                  "Signed out");
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Quillstep"));
    QCoreApplication::setApplicationVersion(
        QString::fromLatin1(platform::kVersion.data(), platform::kVersion.size()));
    const app::CommandLine commandLine = app::parseCommandLine(application);

    // Before the environment starts threads. A command that asks for a password can be interrupted.
    std::optional<platform::posix::TerminationSignals> signals;
    if (commandLine.task == app::CommandLine::Task::Track)
        signals.emplace();
    const auto environment = LinuxEnvironment::create();
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    platform::install(environment.value()->facilities());
    switch (commandLine.task) {
    case app::CommandLine::Task::Diagnose:
        return diagnose(*environment.value());
    case app::CommandLine::Task::SignIn:
        return signIn(*environment.value(), commandLine.email);
    case app::CommandLine::Task::SignOut:
        return signOut(*environment.value());
    case app::CommandLine::Task::Track:
        break;
    }
    return track(*environment.value(), *signals);
}
