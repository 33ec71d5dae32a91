// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The agent, put together of what the desktop gives: the composition root.
#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/ending.h"
#include "app/program.h"
#include "app/quillstep_app.h"
#include "backends/linux/linux_desktop.h"
#include "backends/posix/this_process.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"
#include "views/qml_window_factory.h"

#include <QFileInfo>
#include <QGuiApplication>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>
#include <utility>

namespace app {

namespace {

using activity::DataStore;
using platform::LinuxDesktop;
using platform::LinuxEnvironment;
using platform::dbus::ApplicationCall;
using platform::dbus::StartResult;
using syncing::SyncService;

constexpr std::chrono::seconds kTimeForTheKeyring(2);
constexpr std::chrono::seconds kTimeForTheSettings(2);
// As long as an instance that is ending may take for its owed save, and some more.
constexpr std::chrono::seconds kTimeForThePreviousInstance(6);
constexpr std::chrono::seconds kTimeToTakeLeave(2);
/// The event loop's result when the program is to start anew.
constexpr int kStartAnew = 64;

QString farewell()
{
    const QString display =
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
            ? QStringLiteral("X server ") + qEnvironmentVariable("DISPLAY")
            : QStringLiteral("Wayland display ") + qEnvironmentVariable("WAYLAND_DISPLAY");
    return QStringLiteral("the connection to the %1 was closed; the session is over").arg(display);
}

/// What cannot be on this display without a session bus.
QString lossWithoutBus()
{
    return QGuiApplication::platformName() == QLatin1StringView("xcb")
               ? QStringLiteral("; only a tray of X11 can show the icon, and other programs cannot "
                                "reach this one")
               : QStringLiteral(
                     "; there will be no icon, and other programs cannot reach this one");
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

/// Takes the data folder for this process: another instance may record on another session bus, or
/// be about to end. A folder that cannot be locked is no reason not to record; the store has its
/// own words for what is wrong with it.
bool mayRecord(LinuxDesktop& desktop)
{
    const auto& support = platform::environment().applicationSupport;
    if (!support)
        return true; // the store says so
    const auto lock = desktop.lock(QFileInfo(DataStore::filePathIn(*support)).path(),
                                   kTimeForThePreviousInstance);
    if (!lock.problem.isEmpty())
        complain(lock.problem);
    return !lock.isTakenByAnother;
}

/// The windows over `quillstep`, made when they are asked for.
views::QmlWindowFactory windowsOf(QuillstepApp& quillstep,
                                  const shell::Services& services,
                                  const platform::Desktop& facilities)
{
    return views::QmlWindowFactory(
        {.services = services,
         .environment = platform::environment(),
         .desktop = facilities,
         .windows = quillstep.windows(),
         .menu = quillstep.menu(),
         .setIsShowingLogin = [&quillstep](bool value) { quillstep.setIsShowingLogin(value); },
         .serviceUrl = platform::fromExactUtf8(platform::kServiceUrl)});
}

/// What the desktop tells comes to the application, and what ends the program ends it.
void listen(LinuxDesktop& desktop, QuillstepApp& quillstep)
{
    const auto quit = [] {
        QCoreApplication::exit(EXIT_SUCCESS);
    };
    QObject::connect(&desktop, &LinuxDesktop::endRequested, qApp, quit);
    QObject::connect(&quillstep, &QuillstepApp::quitRequested, qApp, quit);
    QObject::connect(&desktop,
                     &LinuxDesktop::ownUrlOpened,
                     &quillstep,
                     [&quillstep](const QString& url) { quillstep.openUrl(url); });
    QObject::connect(&desktop, &LinuxDesktop::busLost, qApp, [](bool takesIcon) {
        complain(QStringLiteral("the session bus went away; tracking goes on%1, and the program "
                                "starts anew once the bus is back")
                     .arg(takesIcon ? QStringLiteral(" without the icon") : QString()));
    });
    QObject::connect(
        &desktop, &LinuxDesktop::busReturned, qApp, [] { QCoreApplication::exit(kStartAnew); });
    quillstep.answer(desktop.requests());
}

/// Most of what it takes to show a window is not needed again before the next one; nor are what a
/// long backlog needed and what makes the first upload.
void giveMemoryBackWhenCalm(LinuxDesktop& desktop, const shell::Services& services)
{
    const DataStore& store = services.dataStore;
    QObject::connect(
        &desktop, &LinuxDesktop::calm, &services.dataStore, &DataStore::dropUnusedTexts);
    QObject::connect(
        &store, &DataStore::unusedTextsDropped, qApp, desktop.facilities().letGoOfSpareMemory);
    QObject::connect(
        &services.syncService, &SyncService::memoryUsed, &desktop, &LinuxDesktop::waitForCalm);
}

/// The toolkit says goodbye to a display server that may hang. Nothing is owed any more.
void takeLeave(int code)
{
    std::thread([code] {
        std::this_thread::sleep_for(kTimeToTakeLeave);
        std::_Exit(code);
    }).detach();
}

/// The application on its desktop, until it ends.
int runApplication(LinuxDesktop& desktop, Ending& ending)
{
    const shell::Services services{.dataStore = DataStore::shared(),
                                   .authService = account::AuthService::shared(),
                                   .syncService = SyncService::shared(),
                                   .trackingEngine = tracking::TrackingEngine::shared()};
    QuillstepApp quillstep({.environment = platform::environment(),
                            .services = services,
                            .desktop = desktop.facilities(),
                            .finishSettings = [&desktop] {
                                return desktop.environment().finishSettings(kTimeForTheSettings);
                            }});
    views::QmlWindowFactory windows = windowsOf(quillstep, services, desktop.facilities());
    quillstep.windows().setFactory(&windows);
    listen(desktop, quillstep);
    giveMemoryBackWhenCalm(desktop, services);
    desktop.prepareForSleep([&store = services.dataStore](std::function<void()> done) {
        store.flush(std::move(done));
    });

    desktop.begin();
    quillstep.launch();
    const int code = QCoreApplication::exec();

    qCInfo(lcApp) << "ending with" << code;
    desktop.release();
    ending.finish();
    if (ending.hasBidFarewell())
        std::_Exit(EXIT_FAILURE); // without a display the toolkit cannot be taken down in order
    takeLeave(code == kStartAnew ? EXIT_FAILURE : code);
    quillstep.windows().closeAll();
    return code;
}

/// Of what ends without the event loop, too. Owned by the application object.
Ending& makeEnding(LinuxEnvironment& environment)
{
    auto* const ending = new Ending(
        qApp,
        {.settings = [&environment] { return environment.finishSettings(kTimeForTheSettings); },
         .keyring =
             [&environment] {
                 return environment.finishKeyring(kTimeForTheKeyring);
             }});
    ending->finishAtSuddenExit(farewell());
    QObject::connect(
        &environment, &LinuxEnvironment::sessionEnded, ending, [ending](const QString& reason) {
            ending->bidFarewell(reason + QStringLiteral("; the session is over"));
            QCoreApplication::exit(EXIT_FAILURE);
        });
    return *ending;
}

} // namespace

int runAgent(int argc, char** argv, const CommandLine& commandLine, const Facilities& facilities)
{
    passOnToolkitMessages();
    LinuxDesktop desktop(argc, argv);
    const StartResult start = desktop.start(requestIn(commandLine));
    qCInfo(lcApp) << "start" << static_cast<int>(start.kind) << start.text;
    const bool isToQuit = commandLine.action == QLatin1StringView("quit");
    if (start.kind == StartResult::Kind::HandedOver ||
        (start.kind == StartResult::Kind::First && isToQuit))
        return EXIT_SUCCESS;
    if (start.kind == StartResult::Kind::Failed) {
        complain(start.text);
        return EXIT_FAILURE;
    }
    if (const auto opened = desktop.open(); !opened) {
        complain(opened.error().text);
        return EXIT_FAILURE;
    }
    if (start.kind == StartResult::Kind::Alone)
        complain(start.text + lossWithoutBus());
    LinuxEnvironment& environment = desktop.environment();
    QObject::connect(
        &environment,
        &LinuxEnvironment::noticeChanged,
        qApp,
        [&environment] { complain(environment.notice()); },
        Qt::SingleShotConnection);
    const platform::Environment installed =
        facilities ? facilities(environment.facilities()) : environment.facilities();
    platform::install(installed);
    if (!mayRecord(desktop))
        return EXIT_FAILURE;
    const int code = runApplication(desktop, makeEnding(environment));
    if (code == kStartAnew)
        complain(desktop.startAnew());
    return code;
}

int runProgram(int argc, char** argv, const Facilities& facilities)
{
    platform::posix::shieldThisProcess();
    QCoreApplication::setApplicationName(platform::fromExactUtf8(platform::kExecutable));
    QCoreApplication::setApplicationVersion(platform::fromExactUtf8(platform::kVersion));
    const CommandLine commandLine = parseCommandLine(argc, argv);
    return commandLine.task == CommandLine::Task::Track
               ? runAgent(argc, argv, commandLine, facilities)
               : runCommand(argc, argv, commandLine);
}

} // namespace app
