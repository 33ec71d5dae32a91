// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program/agent.h"

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/ending.h"
#include "app/quillstep_app.h"
#include "app/toolkit_messages.h"
#include "platform/build_config.h"
#include "platform/linux/dbus/application_service.h"
#include "platform/linux/dbus/bus_address.h"
#include "platform/linux/dbus/forwarding.h"
#include "platform/linux/dbus/sleep_watch.h"
#include "platform/linux/gui/desktop_url_opener.h"
#include "platform/linux/gui/system_tray_item.h"
#include "platform/linux/gui/window_activation.h"
#include "platform/linux/gui/without_opengl.h"
#include "platform/linux/linux_environment.h"
#include "platform/linux/posix/instance_lock.h"
#include "platform/linux/posix/journal_stream.h"
#include "platform/linux/posix/own_standard_output.h"
#include "platform/linux/posix/process_shield.h"
#include "platform/linux/posix/spare_memory.h"
#include "platform/linux/posix/start_variables.h"
#include "platform/linux/posix/termination_signals.h"
#include "platform/linux/posix/timer_slack.h"
#include "platform/linux/qt/qt_main_queue.h"
#include "platform/linux/xdg/autostart_login_item.h"
#include "sync/sync_service.h"
#include "tracking/tracking_engine.h"
#include "views/qml_window_factory.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <QProcessEnvironment>
#include <QSessionManager>
#include <QTimer>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

namespace app {

namespace {

using account::AuthService;
using platform::LinuxEnvironment;
using platform::dbus::ApplicationCall;
using platform::dbus::ApplicationService;
using platform::dbus::StartResult;
using platform::posix::InstanceLock;
using platform::posix::TerminationSignals;
using syncing::SyncService;
using Sink = platform::posix::StdoutDiagnostics::Sink;

constexpr std::chrono::seconds kTimeForTheKeyring(2);
constexpr std::chrono::seconds kTimeForTheSettings(2);
// As long as an instance that is ending may take for its owed save, and some more.
constexpr std::chrono::seconds kTimeForThePreviousInstance(6);
constexpr std::chrono::seconds kTimeToTakeLeave(2);
/// After the last change of what is on screen, and after an upload that took memory.
constexpr std::chrono::seconds kUntilCalm(10);
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

/// The toolkit says goodbye to a display server that may hang. Nothing is owed any more.
void takeLeave(int code)
{
    std::thread([code] {
        std::this_thread::sleep_for(kTimeToTakeLeave);
        std::_Exit(code);
    }).detach();
}

/// Takes the data folder's lock: another instance may record on another session bus, or be about to
/// end. A folder that cannot be locked is no reason not to record; the store has its own words for
/// what is wrong with it.
bool mayRecord(const platform::Environment& environment, std::optional<InstanceLock>& lock)
{
    const auto& support = environment.applicationSupport;
    if (!support)
        return true; // the store says so
    lock.emplace(QFileInfo(activity::DataStore::filePathIn(*support)).path());
    const auto locked = lock->acquire(kTimeForThePreviousInstance);
    if (!locked)
        complain(locked.error().text);
    else if (!lock->warning().isEmpty())
        complain(lock->warning());
    return !lock->isTaken();
}

/// The application with everything that the desktop gives it, until it ends.
int runApplication(LinuxEnvironment& desktop,
                   const platform::Environment& environment,
                   ApplicationService& requests,
                   Ending& ending)
{
    using platform::xdg::AutostartLoginItem;
    AutostartLoginItem loginItem(
        AutostartLoginItem::Session::of(QProcessEnvironment::systemEnvironment()),
        QCoreApplication::applicationFilePath());
    platform::qt::QtMainQueue mainQueue;
    platform::gui::DesktopUrlOpener urlOpener;
    platform::gui::WindowActivation activation;
    QuillstepApp quillstep({.environment = environment,
                            .dataStore = activity::DataStore::shared(),
                            .authService = AuthService::shared(),
                            .syncService = SyncService::shared(),
                            .trackingEngine = tracking::TrackingEngine::shared(),
                            .mainQueue = mainQueue,
                            .urlOpener = urlOpener,
                            .activation = activation,
                            .finishSettings = [&desktop] {
                                return desktop.finishSettings(kTimeForTheSettings);
                            }});
    views::QmlWindowFactory windows(
        {.dataStore = activity::DataStore::shared(),
         .authService = AuthService::shared(),
         .syncService = SyncService::shared(),
         .trackingEngine = tracking::TrackingEngine::shared(),
         .userDefaults = environment.userDefaults,
         .loginItem = loginItem,
         .clock = environment.clock,
         .diagnostics = environment.diagnostics,
         .mainQueue = mainQueue,
         .urlOpener = urlOpener,
         .activation = activation,
         .desktopNotice = desktop,
         .windows = quillstep.windows(),
         .menu = quillstep.menu(),
         .setIsShowingLogin = [&quillstep](bool value) { quillstep.setIsShowingLogin(value); },
         .serviceUrl = fromView(platform::kServiceUrl)});
    quillstep.windows().setFactory(&windows);
    quillstep.windows().setWatcher([&activation](bool hasWindows) {
        activation.setHasWindows(hasWindows);
        platform::posix::letTimersWait(!hasWindows);
    });
    platform::gui::SystemTrayItem statusItem;
    quillstep.showIn(statusItem);
    QObject::connect(&urlOpener,
                     &platform::gui::DesktopUrlOpener::ownUrlOpened,
                     &quillstep,
                     [&quillstep](const QString& url) { quillstep.openUrl(url); });
    QObject::connect(&quillstep, &QuillstepApp::quitRequested, qApp, [] {
        QCoreApplication::exit(EXIT_SUCCESS);
    });

    // Most of what it takes to show a window is not needed again before the next one; nor are what
    // a long backlog needed and what makes the first upload.
    activity::DataStore& store = activity::DataStore::shared();
    QTimer calm;
    calm.setSingleShot(true);
    calm.callOnTimeout(&store, [&quillstep, &store] {
        store.dropUnusedTexts();
        platform::posix::letTimersWait(!quillstep.windows().hasWindows());
    });
    QObject::connect(&store,
                     &activity::DataStore::unusedTextsDropped,
                     qApp,
                     &platform::posix::letGoOfSpareMemory);
    const auto waitForCalm = [&calm] {
        calm.start(kUntilCalm);
    };
    QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, &calm, waitForCalm);
    QObject::connect(&SyncService::shared(), &SyncService::memoryUsed, &calm, waitForCalm);
    waitForCalm();

    const platform::dbus::SleepWatch sleep(
        desktop.systemBus(),
        QStringLiteral("Velomira Usage Monitor"),
        QStringLiteral("What was recorded last is being written to the disk"),
        [&store](std::function<void()> done) { store.flush(std::move(done)); });

    platform::dbus::BusReturn busReturn(requests.address());
    const auto lost = [&busReturn, &statusItem] {
        complain(QStringLiteral("the session bus went away; tracking goes on%1, and the program "
                                "starts anew once the bus is back")
                     .arg(statusItem.needsBus() ? QStringLiteral(" without the icon") : QString()));
        busReturn.start();
    };
    QObject::connect(&requests, &ApplicationService::connectionLost, &busReturn, lost);
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

/// At login it is the autostart entry that starts the program, not the saved session.
void neverRestart(QSessionManager& session)
{
    session.setRestartHint(QSessionManager::RestartNever);
}

} // namespace

platform::Environment asTheyAre(const platform::Environment& facilities)
{
    return facilities;
}

Agent::Agent(int argc, char** argv, CommandLine commandLine, Facilities facilities)
    : m_argc(argc)
    , m_argv(argv)
    , m_commandLine(std::move(commandLine))
    , m_facilities(std::move(facilities))
{
}

int Agent::run()
{
    TerminationSignals::hold();
    m_journalStream = qgetenv(platform::posix::kJournalStream);
    platform::posix::forgetHowThisProgramWasStarted();
    ApplicationService requests;
    const StartResult start = claimOrHandOver(requests, requestIn(m_commandLine));
    const bool isToQuit = m_commandLine.action == QLatin1StringView("quit");
    if (start.kind == StartResult::Kind::HandedOver ||
        (start.kind == StartResult::Kind::First && isToQuit))
        return EXIT_SUCCESS;
    if (start.kind == StartResult::Kind::Failed)
        complain(start.text);
    if (start.kind == StartResult::Kind::Failed)
        return EXIT_FAILURE;
    if (const auto display = LinuxEnvironment::checkDisplay(); !display) {
        complain(display.error().text);
        return EXIT_FAILURE;
    }
    return runOnDisplay(requests, start);
}

int Agent::runOnDisplay(ApplicationService& requests, const StartResult& start)
{
    std::optional<platform::posix::OwnStandardOutput> output(std::in_place);
    passOnToolkitMessages();
    // What the toolkit calls the icon in the panel, to users and to the desktop. Windows have
    // titles of their own, and the class that X11WindowHints gives them.
    QCoreApplication::setApplicationName(QStringLiteral("Velomira"));
    std::optional<platform::gui::WithoutOpenGL> withoutOpenGL(std::in_place);
    QApplication application(m_argc, m_argv);
    withoutOpenGL.reset();
    if (start.kind == StartResult::Kind::Alone)
        complain(start.text + lossWithoutBus());
    QGuiApplication::setDesktopFileName(fromView(platform::kBundleIdentifier));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/logo.png")));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const TerminationSignals signals;
    QObject::connect(&signals, &TerminationSignals::requested, qApp, [] {
        QCoreApplication::exit(EXIT_SUCCESS);
    });
    QObject::connect(qApp, &QGuiApplication::saveStateRequest, qApp, neverRestart);
    QObject::connect(qApp, &QGuiApplication::commitDataRequest, qApp, neverRestart);

    const bool isForTheJournal =
        platform::posix::isJournalStream(output->descriptor(), m_journalStream.toStdString());
    const auto found = LinuxEnvironment::create(
        requests.connection(), output->descriptor(), isForTheJournal ? Sink::Journal : Sink::Plain);
    if (!found) {
        complain(found.error().text);
        return EXIT_FAILURE;
    }
    LinuxEnvironment& desktop = *found.value();
    const platform::Environment environment = m_facilities(desktop.facilities());
    platform::install(environment);
    QObject::connect(
        &desktop,
        &LinuxEnvironment::noticeChanged,
        qApp,
        [&desktop] { complain(desktop.notice()); },
        Qt::SingleShotConnection);

    std::optional<InstanceLock> lock;
    if (!mayRecord(environment, lock))
        return EXIT_FAILURE;
    auto* const ending =
        new Ending(&application,
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
    const int code = runApplication(desktop, environment, requests, *ending);
    if (code == kStartAnew) {
        output.reset();
        startAnew();
    }
    return code;
}

/// Becomes the program anew, as the bus would start it.
void Agent::startAnew()
{
    const QString bus = platform::dbus::withoutIdentity(platform::dbus::sessionBusAddress());
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.toLocal8Bit());
    if (!m_journalStream.isEmpty()) // standard output is still the same
        qputenv(platform::posix::kJournalStream, m_journalStream);
    const platform::posix::UsualCoreLimit limit;
    const platform::posix::UsualTimerSlack slack;
    std::string option = "--gapplication-service";
    std::array<char*, 3> arguments{m_argv[0], option.data(), nullptr};
    ::execv("/proc/self/exe", arguments.data());
    complain(QStringLiteral("cannot start anew: ") + qt_error_string(errno));
}

} // namespace app
