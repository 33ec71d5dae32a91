// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/account_commands.h"
#include "app/command_line.h"
#include "app/diagnosis.h"
#include "app/ending.h"
#include "app/quillstep_app.h"
#include "app/toolkit_messages.h"
#include "app/wait_for.h"
#include "platform/build_config.h"
#include "platform/linux/browsers/browser_support.h"
#include "platform/linux/dbus/application_service.h"
#include "platform/linux/dbus/bus_address.h"
#include "platform/linux/dbus/bus_connection.h"
#include "platform/linux/dbus/bus_return.h"
#include "platform/linux/dbus/forwarding.h"
#include "platform/linux/gui/desktop_url_opener.h"
#include "platform/linux/gui/system_tray_item.h"
#include "platform/linux/gui/window_activation.h"
#include "platform/linux/gui/without_opengl.h"
#include "platform/linux/linux_environment.h"
#include "platform/linux/posix/instance_lock.h"
#include "platform/linux/posix/own_standard_output.h"
#include "platform/linux/posix/password_prompt.h"
#include "platform/linux/posix/start_variables.h"
#include "platform/linux/posix/termination_signals.h"
#include "platform/linux/qt/qt_main_queue.h"
#include "platform/linux/xdg/autostart_login_item.h"
#include "platform/user_locale.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"
#include "views/qml_window_factory.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <QProcessEnvironment>
#include <QSessionManager>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using account::AuthService;
using app::CommandLine;
using app::complain;
using platform::LinuxEnvironment;
using platform::dbus::ApplicationCall;
using platform::dbus::ApplicationService;
using platform::dbus::StartResult;
using platform::posix::InstanceLock;
using platform::posix::OwnStandardOutput;
using platform::posix::TerminationSignals;
using syncing::SyncService;

constexpr std::chrono::seconds kTimeForTheBus(3);
constexpr std::chrono::seconds kTimeToLookAround(4);
constexpr std::chrono::seconds kTimeForTheKeyring(2);
constexpr std::chrono::seconds kTimeForTheSettings(2);
constexpr std::chrono::minutes kTimeToUnlockTheKeyring(2);
// As long as an instance that is ending may take for its owed save, and some more.
constexpr std::chrono::seconds kTimeForThePreviousInstance(6);
constexpr std::chrono::seconds kTimeToTakeLeave(2);
/// The event loop's result when the program is to start anew.
constexpr int kStartAnew = 64;

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString farewell()
{
    const QString display =
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
            ? QStringLiteral("X server ") + qEnvironmentVariable("DISPLAY")
            : QStringLiteral("Wayland display ") + qEnvironmentVariable("WAYLAND_DISPLAY");
    return QStringLiteral("the connection to the %1 was closed; the session is over").arg(display);
}

/// What a start with `commandLine` asks of an instance that runs already.
std::optional<ApplicationCall> requestIn(const CommandLine& commandLine)
{
    if (commandLine.isStartedByBus)
        return std::nullopt; // it comes over the bus
    if (!commandLine.url.isEmpty())
        return ApplicationCall{
            .kind = ApplicationCall::Kind::Open, .text = commandLine.url, .token = {}};
    if (!commandLine.action.isEmpty())
        return ApplicationCall{
            .kind = ApplicationCall::Kind::Action, .text = commandLine.action, .token = {}};
    return ApplicationCall{};
}

/// The toolkit says goodbye to a display server that may hang. Nothing is owed any more.
void takeLeave(int code)
{
    std::thread([code] {
        std::this_thread::sleep_for(kTimeToTakeLeave);
        std::_Exit(code);
    }).detach();
}

/// The application with everything that the desktop gives it, until it ends.
int runApplication(LinuxEnvironment& environment, ApplicationService& requests, app::Ending& ending)
{
    using platform::xdg::AutostartLoginItem;
    AutostartLoginItem loginItem(
        AutostartLoginItem::Session::of(QProcessEnvironment::systemEnvironment()),
        QCoreApplication::applicationFilePath(),
        environment.facilities().atomicFiles);
    platform::qt::QtMainQueue mainQueue;
    platform::gui::DesktopUrlOpener urlOpener;
    platform::gui::WindowActivation activation;
    app::QuillstepApp quillstep({.environment = environment.facilities(),
                                 .dataStore = activity::DataStore::shared(),
                                 .authService = AuthService::shared(),
                                 .syncService = SyncService::shared(),
                                 .trackingEngine = tracking::TrackingEngine::shared(),
                                 .mainQueue = mainQueue,
                                 .urlOpener = urlOpener,
                                 .activation = activation});
    views::QmlWindowFactory windows(
        {.dataStore = activity::DataStore::shared(),
         .authService = AuthService::shared(),
         .syncService = SyncService::shared(),
         .trackingEngine = tracking::TrackingEngine::shared(),
         .userDefaults = environment.facilities().userDefaults,
         .loginItem = loginItem,
         .clock = environment.facilities().clock,
         .diagnostics = environment.facilities().diagnostics,
         .mainQueue = mainQueue,
         .urlOpener = urlOpener,
         .activation = activation,
         .desktopNotice = environment,
         .windows = quillstep.windows(),
         .menu = quillstep.menu(),
         .setIsShowingLogin = [&quillstep](bool value) { quillstep.setIsShowingLogin(value); },
         .serviceUrl = fromView(platform::kServiceUrl)});
    quillstep.windows().setFactory(&windows);
    platform::gui::SystemTrayItem statusItem;
    quillstep.showIn(statusItem);
    QObject::connect(&urlOpener,
                     &platform::gui::DesktopUrlOpener::ownUrlOpened,
                     &quillstep,
                     [&quillstep](const QString& url) { quillstep.openUrl(url); });
    QObject::connect(&quillstep, &app::QuillstepApp::quitRequested, qApp, [] {
        QCoreApplication::exit(EXIT_SUCCESS);
    });

    platform::dbus::BusReturn busReturn(requests.address());
    QObject::connect(&requests, &ApplicationService::connectionLost, &busReturn, [&busReturn] {
        complain(QStringLiteral("the session bus went away; tracking goes on without the icon, and "
                                "the program starts anew once the bus is back"));
        busReturn.start();
    });
    QObject::connect(&busReturn, &platform::dbus::BusReturn::busIsBack, qApp, [] {
        QCoreApplication::exit(kStartAnew);
    });

    quillstep.answer(requests);
    requests.begin();
    quillstep.launch();
    const int code = QCoreApplication::exec();
    requests.release();
    ending.finish();
    if (ending.hasBidFarewell())
        std::_Exit(EXIT_FAILURE); // without a display the toolkit cannot be taken down in order
    takeLeave(code == kStartAnew ? EXIT_FAILURE : code);
    quillstep.windows().closeAll();
    return code;
}

/// Becomes the program anew, as the bus would start it.
void startAnew(char* name)
{
    const QString bus = platform::dbus::withoutIdentity(platform::dbus::sessionBusAddress());
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.toLocal8Bit());
    std::string option = "--gapplication-service";
    std::array<char*, 3> arguments{name, option.data(), nullptr};
    ::execv("/proc/self/exe", arguments.data());
    complain(QStringLiteral("cannot start anew: ") + qt_error_string(errno));
}

/// Takes the data folder's lock: another instance may record on another session bus, or be about to
/// end. A folder that cannot be locked is no reason not to record; the store has its own words for
/// what is wrong with it.
bool mayRecord(const LinuxEnvironment& desktop, std::optional<InstanceLock>& lock)
{
    const auto& support = desktop.facilities().applicationSupport;
    if (!support)
        return true; // the store says so
    lock.emplace(QFileInfo(activity::DataStore::filePathIn(*support)).path());
    const auto locked = lock->acquire(kTimeForThePreviousInstance);
    if (!locked)
        complain(locked.error().text);
    return !lock->isTaken();
}

int track(int argc, char** argv, const CommandLine& commandLine)
{
    TerminationSignals::hold();
    platform::posix::forgetHowThisProgramWasStarted();
    std::optional<OwnStandardOutput> output(std::in_place);
    ApplicationService requests;
    const StartResult start = claimOrHandOver(requests, requestIn(commandLine));
    const bool isToQuit = commandLine.action == QLatin1StringView("quit");
    if (start.kind == StartResult::Kind::HandedOver ||
        (start.kind == StartResult::Kind::First && isToQuit))
        return EXIT_SUCCESS;
    if (start.kind == StartResult::Kind::Alone)
        complain(start.text + QStringLiteral("; there will be no icon, and other programs cannot "
                                             "reach this one"));
    if (start.kind == StartResult::Kind::Failed)
        complain(start.text);
    if (start.kind == StartResult::Kind::Failed)
        return EXIT_FAILURE;
    if (const auto display = LinuxEnvironment::checkDisplay(); !display) {
        complain(display.error().text);
        return EXIT_FAILURE;
    }

    app::passOnToolkitMessages();
    std::optional<platform::gui::WithoutOpenGL> withoutOpenGL(std::in_place);
    QApplication application(argc, argv);
    withoutOpenGL.reset();
    QGuiApplication::setDesktopFileName(fromView(platform::kBundleIdentifier));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/logo.png")));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const TerminationSignals signals;
    QObject::connect(&signals, &TerminationSignals::requested, qApp, [] {
        QCoreApplication::exit(EXIT_SUCCESS);
    });
    // At login it is the autostart entry that starts the program, not the saved session.
    const auto neverRestart = [](QSessionManager& session) {
        session.setRestartHint(QSessionManager::RestartNever);
    };
    QObject::connect(qApp, &QGuiApplication::saveStateRequest, qApp, neverRestart);
    QObject::connect(qApp, &QGuiApplication::commitDataRequest, qApp, neverRestart);

    const auto environment = LinuxEnvironment::create(requests.connection(), output->descriptor());
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    LinuxEnvironment& desktop = *environment.value();
    platform::install(desktop.facilities());
    QObject::connect(
        &desktop,
        &LinuxEnvironment::noticeChanged,
        qApp,
        [&desktop] { complain(desktop.notice()); },
        Qt::SingleShotConnection);

    std::optional<InstanceLock> lock;
    if (!mayRecord(desktop, lock))
        return EXIT_FAILURE;
    auto* const ending = new app::Ending(
        &application,
        {.settings = [&desktop] { return desktop.finishSettings(kTimeForTheSettings); },
         .keyring =
             [&desktop] {
                 return desktop.finishKeyring(kTimeForTheKeyring);
             }});
    ending->finishAtSuddenExit(farewell());
    QObject::connect(
        &desktop, &LinuxEnvironment::sessionEnded, ending, [ending](const QString& reason) {
            ending->bidFarewell(reason + QStringLiteral("; the session is over"));
            QCoreApplication::exit(EXIT_FAILURE);
        });
    const int code = runApplication(desktop, requests, *ending);
    if (code == kStartAnew) {
        output.reset();
        startAnew(argv[0]);
    }
    return code;
}

int diagnose(LinuxEnvironment& environment)
{
    environment.waitUntilDecided(kTimeToLookAround);
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

/// Needs neither a display nor a bus.
int setUpBrowsers(int argc, char** argv, bool isToRemove)
{
    const QCoreApplication application(argc, argv);
    const auto places = platform::browsers::supportPlaces(QProcessEnvironment::systemEnvironment());
    if (!places)
        return report(platform::Error{QStringLiteral("there is no home folder, set HOME")}, "");
    const auto outcome = isToRemove ? platform::browsers::removeBrowserSupport(*places)
                                    : platform::browsers::installBrowserSupport(*places);
    const QString text = outcome.lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    std::fputs(qUtf8Printable(text), outcome.isDone ? stdout : stderr);
    return outcome.isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// What can be done without a window.
int runCommand(int argc, char** argv, const CommandLine& commandLine)
{
    const bool isToRemove = commandLine.task == CommandLine::Task::RemoveBrowserSupport;
    if (isToRemove || commandLine.task == CommandLine::Task::InstallBrowserSupport)
        return setUpBrowsers(argc, argv, isToRemove);
    const QCoreApplication application(argc, argv);
    using namespace platform::dbus;
    const auto environment = LinuxEnvironment::create(
        connectionTo(sessionBusAddress(), QStringLiteral("session"), kTimeForTheBus));
    if (!environment) {
        complain(environment.error().text);
        return EXIT_FAILURE;
    }
    platform::install(environment.value()->facilities());
    switch (commandLine.task) {
    case CommandLine::Task::SignIn:
        return signIn(*environment.value(), commandLine.email);
    case CommandLine::Task::SignOut:
        return signOut(*environment.value());
    case CommandLine::Task::Diagnose:
    case CommandLine::Task::InstallBrowserSupport:
    case CommandLine::Task::RemoveBrowserSupport:
    case CommandLine::Task::Track:
        break;
    }
    return diagnose(*environment.value());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication::setApplicationName(QStringLiteral("Quillstep"));
    QCoreApplication::setApplicationVersion(fromView(platform::kVersion));
    const CommandLine commandLine = app::parseCommandLine(argc, argv);
    return commandLine.task == CommandLine::Task::Track ? track(argc, argv, commandLine)
                                                        : runCommand(argc, argv, commandLine);
}
