// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The commands that need no window, for machines where none is at hand, too.
#include "account/auth_service.h"
#include "activity/activity_file_reader.h"
#include "activity/data_store.h"
#include "app/program.h"
#include "backends/dbus/application_service.h"
#include "backends/dbus/bus_address.h"
#include "backends/linux/linux_environment.h"
#include "backends/page_addresses/browser_support.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"
#include "base/password_prompt.h"
#include "base/wipe.h"
#include "platform/application_requests.h"
#include "platform/http_client.h"
#include "platform/secret_store.h"

#include <QCoreApplication>
#include <QCoroFuture>
#include <QCoroTask>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QScopeGuard>

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

namespace tasks = platform::tasks;
using account::AuthService;
using platform::Error;
using platform::LinuxEnvironment;
using Answer = platform::Result<QString>; ///< the sentence to tell

constexpr std::chrono::seconds kTimeForTheBus(3);
constexpr std::chrono::seconds kTimeToLookAround(4);
constexpr std::chrono::seconds kTimeToAnswer(3);
constexpr std::chrono::seconds kTimeForTheSettings(2);
constexpr std::chrono::minutes kTimeToUnlockTheKeyring(2);

int report(const Answer& outcome)
{
    if (!outcome) {
        complain(outcome.error().text);
        return EXIT_FAILURE;
    }
    print({outcome.value()}, stdout);
    return EXIT_SUCCESS;
}

QString contentReport(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("not there yet");
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QStringLiteral("cannot be read: ") + file.errorString();
    activity::TextPool pool;
    const auto list = activity::readActivityFile(file, pool);
    if (!list)
        return QStringLiteral("damaged, %1 bytes; it will be kept beside the new one")
            .arg(info.size());
    return QStringLiteral("%1 records, %2 bytes").arg(list->size()).arg(info.size());
}

QString folderReport(const QString& folder)
{
    const QFileInfo info(folder);
    if (!info.exists())
        return QStringLiteral("not there yet");
    if (!info.isDir())
        return QStringLiteral("a file is in its place; move that away");
    return info.isWritable() ? QStringLiteral("writable") : QStringLiteral("not writable");
}

QStringList activityFileReport(const platform::Environment& environment)
{
    if (!environment.applicationSupport)
        return {QStringLiteral("data folder: unknown, set HOME or XDG_DATA_HOME")};
    const QString path = activity::DataStore::filePathIn(*environment.applicationSupport);
    return {
        QStringLiteral("data file: ") + path,
        QStringLiteral("data folder: ") + folderReport(QFileInfo(path).path()),
        QStringLiteral("stored activity: ") + contentReport(path),
    };
}

/// Prints the answer to --diagnose, a line each: what was found of the desktop; where the activity
/// file is, whether it can be read and written, how much it holds; whether somebody is signed in
/// and whether the service can be reached; how to have more told. Nothing personal, and nothing on
/// disk is changed. Blocks on the disk; the keyring and the network have some seconds each at most.
QCoro::Task<> diagnose(LinuxEnvironment* environment)
{
    environment->waitUntilDecided(kTimeToLookAround);
    const platform::Environment& facilities = environment->facilities();
    const QString url = platform::fromExactUtf8(platform::kServiceUrl);
    QStringList lines{QStringLiteral("version: ") + platform::fromExactUtf8(platform::kVersion)};
    const QString keyring = co_await environment->keyringState();
    lines += environment->report();
    lines += QStringLiteral("keyring: ") + keyring;
    lines += activityFileReport(facilities);
    const auto session = co_await facilities.secretStore.read(AuthService::secretName());
    const bool isSignedIn = session && !AuthService::owesRemoval(facilities.userDefaults);
    lines += QStringLiteral("account: signed ") +
             (isSignedIn ? QStringLiteral("in") : QStringLiteral("out"));
    lines += QStringLiteral("service: ") + url;
    const platform::HttpRequest question{
        .method = platform::HttpMethod::Get,
        .url = url,
        .headers = {},
        .body = {},
        .idleLimit = kTimeToAnswer,
        .longAnswer = platform::LongAnswer::IsCut,
    };
    const platform::HttpOutcome answer = co_await facilities.httpClient.send(question);
    const auto* const failure = std::get_if<platform::TransferFailure>(&answer);
    lines +=
        QStringLiteral("service answers: ") + (failure ? failure->text : QStringLiteral("yes"));
    lines += QStringLiteral("more: start it with QT_LOGGING_RULES=\"velomira.*=true\" in the "
                            "environment, and it tells on standard error what it decides");
    print(lines, stdout);
}

/// Without a look at other instances; the result is what went wrong.
QCoro::Task<std::optional<Error>>
signInHere(LinuxEnvironment* environment, QString email, QString password)
{
    AuthService& service = AuthService::shared();
    if (!co_await service.login(email, password))
        co_return Error{service.lastError().value_or(QString())};
    const bool isFinished = environment->finishKeyring(kTimeToUnlockTheKeyring);
    const auto kept =
        co_await environment->facilities().secretStore.read(AuthService::secretName());
    if (!isFinished || kept != service.token().value_or(QString()).toUtf8())
        co_return Error{
            QStringLiteral("the service accepted the password, but the keyring did not keep "
                           "the session; unlock the keyring, or start one, and try again")};
    if (!environment->finishSettings(kTimeForTheSettings))
        co_return Error{QStringLiteral("the settings cannot be written")};
    co_return std::nullopt;
}

/// Signs in, checks that the keyring has kept the session and has an instance that runs go on with
/// it; the password stays in this process.
Answer signIn(LinuxEnvironment& environment, const QDBusConnection& bus, const QString& email)
{
    terminal::PasswordAnswer answer = terminal::readPassword("Password: ");
    if (const auto* const none = std::get_if<std::string>(&answer))
        return Error{QString::fromStdString(*none)};
    auto& secret = *std::get_if<terminal::Secret>(&answer);
    const std::string_view typed = secret.view();
    QString password = QString::fromUtf8(typed.data(), static_cast<qsizetype>(typed.size()));
    secret.clear();
    const auto wiped = qScopeGuard([&password] { platform::wipe(password); });

    using platform::dbus::askRunningInstance;
    if (const auto ready = askRunningInstance(bus, tasks::kSignInBegins); ready && !*ready)
        return ready->error();
    const auto fault = QCoro::waitFor(signInHere(&environment, email, password));
    const auto taken = askRunningInstance(bus, fault ? tasks::kSignInFailed : tasks::kSignInSaved);
    if (fault)
        return *fault;
    if (taken && !*taken)
        return Error{QStringLiteral("the session is in the keyring, but ") + taken->error().text};
    return QStringLiteral("Signed in");
}

/// Signs out, `isDone` telling whether an instance that runs has done so. A keyring that cannot be
/// opened now is no failure, since the sign-out is remembered.
Answer signOut(LinuxEnvironment& environment, const QDBusConnection& bus, bool isDone)
{
    if (!isDone) {
        AuthService& service = AuthService::shared();
        service.logout();
        static_cast<void>(environment.finishKeyring(kTimeToUnlockTheKeyring));
        if (!environment.finishSettings(kTimeForTheSettings) && service.owesRemoval())
            return Error{
                QStringLiteral("the session is still in the keyring, and the settings cannot be "
                               "written; unlock the keyring and try again")};
        // One that was about to start may have read the token before.
        const auto asked = platform::dbus::askRunningInstance(bus, tasks::kSignOut);
        if (asked && !*asked)
            return asked->error();
    }
    // Of an instance's: by the settings as they are on the disk since.
    return AuthService::owesRemoval(environment.facilities().userDefaults)
               ? QStringLiteral("Signed out. The keyring cannot be opened now; the token in it is "
                                "removed as soon as it opens while Quillstep runs.")
               : QStringLiteral("Signed out");
}

int runOnDesktop(const CommandLine& commandLine)
{
    using namespace platform::dbus;
    const QDBusConnection bus =
        connectionTo(sessionBusAddress(), QStringLiteral("session"), kTimeForTheBus);
    const bool isToSignOut = commandLine.task == CommandLine::Task::SignOut;
    // Before the settings are read: they say then what the instance has done.
    const auto signedOut = isToSignOut ? askRunningInstance(bus, tasks::kSignOut) : std::nullopt;
    if (signedOut && !*signedOut)
        return report(signedOut->error());
    const auto found = LinuxEnvironment::create(bus);
    if (!found)
        return report(found.error());
    LinuxEnvironment& environment = *found.value();
    platform::install(environment.facilities());
    if (commandLine.task == CommandLine::Task::SignIn)
        return report(signIn(environment, bus, commandLine.email));
    if (isToSignOut)
        return report(signOut(environment, bus, signedOut.has_value()));
    QCoro::waitFor(diagnose(&environment));
    return EXIT_SUCCESS;
}

/// Needs neither a display nor a bus.
int setUpBrowsers(bool isToRemove)
{
    const auto places = platform::browsers::supportPlaces(QProcessEnvironment::systemEnvironment());
    if (!places)
        return report(Error{QStringLiteral("there is no home folder, set HOME")});
    const auto outcome = isToRemove ? platform::browsers::removeBrowserSupport(*places)
                                    : platform::browsers::installBrowserSupport(*places);
    print(outcome.lines, outcome.isDone ? stdout : stderr);
    return outcome.isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int runCommand(int argc, char** argv, const CommandLine& commandLine)
{
    using Task = CommandLine::Task;
    const QCoreApplication application(argc, argv);
    if (commandLine.task == Task::InstallBrowserSupport ||
        commandLine.task == Task::RemoveBrowserSupport)
        return setUpBrowsers(commandLine.task == Task::RemoveBrowserSupport);
    return runOnDesktop(commandLine);
}

} // namespace app
