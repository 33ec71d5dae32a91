// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/linux/linux_desktop.h"

#include "backends/dbus/bus_address.h"
#include "backends/posix/instance_lock.h"
#include "backends/posix/standard_output.h"
#include "backends/posix/this_process.h"
#include "backends/qt/desktop_url_opener.h"
#include "backends/qt/qt_repeating_timers.h"
#include "backends/qt/system_tray_item.h"
#include "backends/qt/window_activation.h"
#include "backends/xdg/autostart_login_item.h"
#include "base/build_config.h"

#include <QApplication>
#include <QIcon>
#include <QProcessEnvironment>
#include <QSessionManager>
#include <QTimer>

#include <array>
#include <cerrno>
#include <string>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

using Sink = posix::StdoutDiagnostics::Sink;

/// After the last change of what is on screen, and after an upload that took memory.
constexpr std::chrono::seconds kUntilCalm(10);

/// At login it is the autostart entry that starts the program, not the saved session.
void neverRestart(QSessionManager& session)
{
    session.setRestartHint(QSessionManager::RestartNever);
}

/// The application object, as the desktop knows it.
std::unique_ptr<QApplication> makeApplication(int& argc, char** argv)
{
    // What the toolkit calls the icon in the panel, to users and to the desktop. Windows have
    // titles of their own, and the class that X11WindowHints gives them.
    QCoreApplication::setApplicationName(QStringLiteral("Velomira"));
    std::optional<gui::WithoutOpenGL> withoutOpenGL(std::in_place);
    auto application = std::make_unique<QApplication>(argc, argv);
    withoutOpenGL.reset();
    QGuiApplication::setDesktopFileName(QString::fromUtf8(kBundleIdentifier));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/logo.png")));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(qApp, &QGuiApplication::saveStateRequest, qApp, neverRestart);
    QObject::connect(qApp, &QGuiApplication::commitDataRequest, qApp, neverRestart);
    return application;
}

} // namespace

struct LinuxDesktop::Parts
{
    Parts(int& argc, char** argv, const dbus::ApplicationService& requests)
        : application(makeApplication(argc, argv))
        , busReturn(requests.address())
    {
        calm.setSingleShot(true);
        calm.setInterval(kUntilCalm);
    }

    std::unique_ptr<posix::OwnStandardOutput> output = std::make_unique<posix::OwnStandardOutput>();
    std::unique_ptr<QApplication> application;
    posix::TerminationSignals signals;
    std::unique_ptr<LinuxEnvironment> environment;
    std::optional<posix::InstanceLock> lock;
    qt::QtMainQueue mainQueue;
    gui::DesktopUrlOpener urlOpener;
    gui::WindowActivation activation;
    gui::SystemTrayItem statusItem;
    std::unique_ptr<xdg::AutostartLoginItem> loginItem;
    std::optional<dbus::SleepWatch> sleep;
    dbus::BusReturn busReturn;
    QTimer calm;
};

LinuxDesktop::LinuxDesktop(int argc, char** argv)
    : m_argc(argc)
    , m_argv(argv)
    , m_journalStream(qgetenv(posix::kJournalStream))
{
    posix::TerminationSignals::hold();
    posix::forgetHowThisProgramWasStarted();
}

LinuxDesktop::~LinuxDesktop() = default;

dbus::StartResult LinuxDesktop::start(const std::optional<dbus::ApplicationCall>& request)
{
    return dbus::claimOrHandOver(m_requests, request);
}

Outcome LinuxDesktop::open()
{
    if (Outcome display = LinuxEnvironment::checkDisplay(); !display)
        return display;
    auto parts = std::make_unique<Parts>(m_argc, m_argv, m_requests);
    const int output = parts->output->descriptor();
    const bool isForTheJournal = posix::isJournalStream(output, m_journalStream.toStdString());
    auto found = LinuxEnvironment::create(
        m_requests.connection(), output, isForTheJournal ? Sink::Journal : Sink::Plain);
    if (!found)
        return found.error();
    parts->environment = std::move(found).value();
    parts->loginItem = std::make_unique<xdg::AutostartLoginItem>(
        xdg::AutostartLoginItem::Session::of(QProcessEnvironment::systemEnvironment()),
        QCoreApplication::applicationFilePath());
    m_parts = std::move(parts);

    const auto& made = *m_parts;
    connect(
        &made.signals, &posix::TerminationSignals::requested, this, &LinuxDesktop::endRequested);
    connect(
        &made.urlOpener, &gui::DesktopUrlOpener::ownUrlOpened, this, &LinuxDesktop::ownUrlOpened);
    connect(&m_requests, &dbus::ApplicationService::connectionLost, this, [this] {
        Q_EMIT busLost(m_parts->statusItem.needsBus());
        m_parts->busReturn.start();
    });
    connect(&made.busReturn, &dbus::BusReturn::busIsBack, this, &LinuxDesktop::busReturned);
    connect(
        qGuiApp, &QGuiApplication::focusWindowChanged, &m_parts->calm, qOverload<>(&QTimer::start));
    connect(&made.calm, &QTimer::timeout, this, [this] {
        Q_EMIT calm();
        posix::letTimersWait(!m_parts->activation.hasWindows());
    });
    return success();
}

LinuxEnvironment& LinuxDesktop::environment()
{
    return *m_parts->environment;
}

Desktop LinuxDesktop::facilities()
{
    return {
        .statusItem = m_parts->statusItem,
        .loginItem = *m_parts->loginItem,
        .mainQueue = m_parts->mainQueue,
        .urlOpener = m_parts->urlOpener,
        .activation = m_parts->activation,
        .notice = *m_parts->environment,
        .letGoOfSpareMemory = posix::letGoOfSpareMemory,
    };
}

LinuxDesktop::FolderLock LinuxDesktop::lock(const QString& folder, std::chrono::milliseconds limit)
{
    posix::InstanceLock& lock = m_parts->lock.emplace(folder);
    const Outcome locked = lock.acquire(limit);
    return {.isTakenByAnother = lock.isTaken(),
            .problem = locked ? lock.warning() : locked.error().text};
}

void LinuxDesktop::prepareForSleep(dbus::SleepWatch::Preparation prepare)
{
    m_parts->sleep.emplace(environment().systemBus(),
                           QString::fromUtf8(kBundleDisplayName),
                           QStringLiteral("What was recorded last is being written to the disk"),
                           std::move(prepare));
}

void LinuxDesktop::begin()
{
    waitForCalm();
    m_requests.begin();
}

void LinuxDesktop::waitForCalm()
{
    m_parts->calm.start();
}

QString LinuxDesktop::startAnew()
{
    m_parts->output.reset();
    const QString bus = dbus::withoutIdentity(dbus::sessionBusAddress());
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.toLocal8Bit());
    if (!m_journalStream.isEmpty()) // standard output is still the same
        qputenv(posix::kJournalStream, m_journalStream);
    const posix::UsualCoreLimit limit;
    const posix::UsualTimerSlack slack;
    std::string option = "--gapplication-service";
    std::array<char*, 3> arguments{m_argv[0], option.data(), nullptr};
    ::execv("/proc/self/exe", arguments.data());
    return QStringLiteral("cannot start anew: ") + qt_error_string(errno);
}

} // namespace platform
