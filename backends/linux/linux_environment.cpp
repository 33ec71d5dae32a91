// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/linux/linux_environment.h"

#include "backends/dbus/bus_address.h"
#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/desktops/accessibility/accessible_front_window.h"
#include "backends/desktops/choice/choices.h"
#include "backends/desktops/choice/session_lock.h"
#include "backends/desktops/gnome/gnome_front_window.h"
#include "backends/desktops/gnome/mutter_idle_time.h"
#include "backends/desktops/kwin/kwin_front_window.h"
#include "backends/desktops/wayland/toplevel_windows.h"
#include "backends/desktops/wayland/wayland_connection.h"
#include "backends/desktops/wayland/wayland_idle_time.h"
#include "backends/desktops/x11/x11_desktop.h"
#include "backends/keyring/libsecret_store.h"
#include "backends/page_addresses/accessible_addresses.h"
#include "backends/page_addresses/browser_reports.h"
#include "backends/page_addresses/browser_script_runner.h"
#include "backends/page_addresses/browser_support.h"
#include "backends/posix/posix_atomic_file.h"
#include "backends/posix/system_clock.h"
#include "backends/posix/this_process.h"
#include "backends/qt/network_http_client.h"
#include "backends/qt/qt_repeating_timers.h"
#include "backends/qt/settings_file_defaults.h"
#include "backends/xdg/application_names.h"
#include "backends/xdg/base_directories.h"
#include "backends/xdg/known_browsers.h"
#include "base/build_config.h"

#include <QEventLoop>
#include <QProcessEnvironment>

#include <cmath>
#include <optional>
#include <utility>

namespace platform {

namespace {

constexpr std::chrono::seconds kTimeForTheSystemBus(1);
/// A compositor that restarts is back by then.
constexpr std::chrono::seconds kNoticeDelay(3);

/// What the Wayland desktops tell, each in its way.
struct WaylandDesktop
{
    WaylandDesktop(std::unique_ptr<wayland::WaylandConnection> connected,
                   const QDBusConnection& sessionBus)
        : connection(std::move(connected))
        , toplevels(*connection, qEnvironmentVariable("SWAYSOCK"))
        , kwin(sessionBus)
        , gnome(sessionBus)
        , idleTime(*connection)
        , mutterIdleTime(sessionBus)
    {
        QObject::connect(&idleTime,
                         &wayland::WaylandIdleTime::resumed,
                         &kwin,
                         &kwin::KWinFrontWindow::noteInput);
    }

    std::unique_ptr<wayland::WaylandConnection> connection;
    wayland::ToplevelWindows toplevels;
    kwin::KWinFrontWindow kwin;
    gnome::GnomeFrontWindow gnome;
    std::optional<atspi::AccessibleFrontWindow> accessible;
    wayland::WaylandIdleTime idleTime;
    gnome::MutterIdleTime mutterIdleTime;
};

QString idleReport(const QString& source, double seconds)
{
    if (source.isEmpty())
        return QStringLiteral("unknown, every second counts as active");
    if (std::isnan(seconds))
        return source + QStringLiteral(", no input seen yet");
    return QStringLiteral("%1, now %2 s").arg(source).arg(seconds, 0, 'f', 1);
}

QString found(bool is)
{
    return is ? QStringLiteral("found") : QStringLiteral("not found");
}

bool isWayland()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

Outcome checkDisplayName()
{
    if (isWayland() || !qEnvironmentVariableIsEmpty("DISPLAY"))
        return success();
    return Error{QStringLiteral("there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set")};
}

/// Where the settings are kept; empty when the system names no folder for them.
QString defaultsFile()
{
    const auto folder = xdg::configHome(QProcessEnvironment::systemEnvironment());
    const QString name = QString::fromLatin1(kBundleIdentifier);
    return folder ? *folder + u'/' + name + QStringLiteral("/defaults.ini") : QString();
}

} // namespace

struct LinuxEnvironment::Backends
{
    Backends(QDBusConnection session, int output, posix::StdoutDiagnostics::Sink sink)
        : sessionBus(std::move(session))
        , systemBus(dbus::connectionTo(
              dbus::systemBusAddress(), QStringLiteral("login"), kTimeForTheSystemBus))
        , diagnostics(output, sink)
    {
    }

    /// The X server of an X11 session.
    [[nodiscard]] Outcome openX11();
    /// The compositor of a Wayland session.
    [[nodiscard]] Outcome openWayland();
    [[nodiscard]] Environment facilities();

    /// The window of the application that was answered last, if it is a browser of this family.
    [[nodiscard]] std::optional<browsers::FrontBrowser>
    browserInFront(browsers::Family family) const;

    QDBusConnection sessionBus;
    QDBusConnection systemBus;
    atspi::AccessibilityBus accessibility{sessionBus};
    xdg::ApplicationNames names{xdg::desktopEntryFolders(QProcessEnvironment::systemEnvironment())};
    std::unique_ptr<x11::X11Desktop> x11;
    std::optional<WaylandDesktop> wayland;
    desktop::WindowChoice windows{names};
    desktop::IdleChoice idleTime;
    desktop::SessionLock lock{sessionBus, systemBus};
    browsers::BrowserReports browserReports{sessionBus, browsers::installedHostExecutable()};
    atspi::AccessibleAddresses accessibleAddresses{accessibility};
    browsers::BrowserScriptRunner scriptRunner{
        [this](browsers::Family family) { return browserInFront(family); },
        {&browserReports, &accessibleAddresses}};
    qt::QtRepeatingTimers repeatingTimers;
    posix::SystemClock clock;
    posix::StdoutDiagnostics diagnostics;
    posix::PosixAtomicFiles atomicFiles;
    qt::SettingsFileDefaults userDefaults{defaultsFile()};
    secrets::LibsecretStore secretStore{sessionBus};
    qt::NetworkHttpClient httpClient;
};

Outcome LinuxEnvironment::Backends::openX11()
{
    auto connection = x11::X11Connection::open();
    if (!connection)
        return connection.error();
    x11 = std::make_unique<x11::X11Desktop>(std::move(connection).value(), QStringLiteral("EWMH"));
    windows.add(*x11);
    idleTime.add(x11->idleTime());
    return success();
}

Outcome LinuxEnvironment::Backends::openWayland()
{
    auto connection = wayland::WaylandConnection::open();
    if (!connection)
        return connection.error();
    wayland.emplace(std::move(connection).value(), sessionBus);
    windows.add(wayland->toplevels);
    windows.add(wayland->kwin);
    windows.add(wayland->gnome);
    windows.addWhenNeeded(
        [this]() -> desktop::FrontWindowSource* {
            return &wayland->accessible.emplace(accessibility);
        },
        QStringLiteral("This desktop does not tell which window is in front; only windows of "
                       "programs that speak to assistive ones are recorded."));
    idleTime.add(wayland->idleTime);
    idleTime.add(wayland->mutterIdleTime);
    // Not asked before everything else has failed: asking starts the X server on many desktops.
    // Its idle time is that of X programs and never taken.
    windows.addWhenNeeded(
        [this]() -> desktop::FrontWindowSource* {
            auto server = x11::X11Connection::open();
            if (!server)
                return nullptr;
            x11 = std::make_unique<x11::X11Desktop>(std::move(server).value(),
                                                    QStringLiteral("EWMH through XWayland"));
            return x11.get();
        },
        QStringLiteral("This desktop does not tell which window is in front; only windows of X11 "
                       "programs are recorded."));
    return success();
}

std::optional<browsers::FrontBrowser>
LinuxEnvironment::Backends::browserInFront(browsers::Family family) const
{
    const auto& latest = windows.latest();
    // That an identifier holds the word is not enough: a web application has its own window, whose
    // title does not tell whether it is private.
    if (!latest ||
        browsers::familyOf(latest->application.bundleIdentifier.value_or(QString())) != family)
        return std::nullopt;
    return browsers::FrontBrowser{.family = family,
                                  .processIdentifier = latest->application.processIdentifier,
                                  .windowTitle = latest->title,
                                  .window = latest->application.window};
}

Environment LinuxEnvironment::Backends::facilities()
{
    return {
        .idleTime = idleTime,
        .frontmostApplication = windows,
        .windowTitle = windows,
        .scriptRunner = scriptRunner,
        .repeatingTimers = repeatingTimers,
        .clock = clock,
        .diagnostics = diagnostics,
        .atomicFiles = atomicFiles,
        .userDefaults = userDefaults,
        .secretStore = secretStore,
        .httpClient = httpClient,
        .applicationSupport = xdg::dataHome(QProcessEnvironment::systemEnvironment()),
        .enterBackground = posix::enterBackground,
    };
}

Result<std::unique_ptr<LinuxEnvironment>> LinuxEnvironment::create(
    const QDBusConnection& sessionBus, int output, posix::StdoutDiagnostics::Sink sink)
{
    if (const Outcome named = checkDisplayName(); !named)
        return named.error();
    auto backends = std::make_unique<Backends>(sessionBus, output, sink);
    const Outcome opened = isWayland() ? backends->openWayland() : backends->openX11();
    if (!opened)
        return opened.error();
    return std::unique_ptr<LinuxEnvironment>(new LinuxEnvironment(std::move(backends)));
}

QDBusConnection LinuxEnvironment::systemBus() const
{
    return m_backends->systemBus;
}

Outcome LinuxEnvironment::checkDisplay()
{
    Outcome named = checkDisplayName();
    if (!named)
        return named;
    return isWayland() ? wayland::WaylandConnection::check() : x11::X11Connection::check();
}

LinuxEnvironment::LinuxEnvironment(std::unique_ptr<Backends> backends)
    : m_backends(std::move(backends))
    , m_facilities(m_backends->facilities())
{
    const auto& wayland = m_backends->wayland;
    const desktop::DisplayConnection* const display =
        wayland ? static_cast<const desktop::DisplayConnection*>(wayland->connection.get())
                : &m_backends->x11->connection();
    connect(display, &desktop::DisplayConnection::lost, this, &LinuxEnvironment::sessionEnded);
    desktop::SessionLock& lock = m_backends->lock;
    desktop::WindowChoice& windows = m_backends->windows;
    connect(&lock, &desktop::SessionLock::changed, &windows, [&lock, &windows] {
        windows.setLocked(lock.isLocked());
    });
    m_noticeDelay.setSingleShot(true);
    m_noticeDelay.setInterval(kNoticeDelay);
    connect(&m_noticeDelay, &QTimer::timeout, this, &LinuxEnvironment::updateNotice);
    connect(&windows, &desktop::WindowChoice::changed, &m_noticeDelay, qOverload<>(&QTimer::start));
    m_noticeDelay.start();
}

LinuxEnvironment::~LinuxEnvironment() = default;

const Environment& LinuxEnvironment::facilities() const
{
    return m_facilities;
}

void LinuxEnvironment::updateNotice()
{
    const QString notice = m_backends->windows.notice();
    if (std::exchange(m_notice, notice) != notice)
        Q_EMIT noticeChanged();
}

void LinuxEnvironment::waitUntilDecided(std::chrono::milliseconds limit)
{
    const auto isUndecided = [this] {
        return m_backends->windows.isUndecided() || m_backends->idleTime.isUndecided();
    };
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(limit);
    while (isUndecided() && timer.isActive())
        loop.processEvents(QEventLoop::WaitForMoreEvents);
}

bool LinuxEnvironment::finishSettings(std::chrono::milliseconds limit)
{
    return m_backends->userDefaults.finish(limit);
}

bool LinuxEnvironment::finishKeyring(std::chrono::milliseconds limit)
{
    return m_backends->secretStore.finish(limit);
}

QFuture<QString> LinuxEnvironment::keyringState()
{
    return m_backends->secretStore.keyringState();
}

QStringList LinuxEnvironment::report() const
{
    QStringList lines;
    const auto add = [&lines](const char* what, const QString& answer) {
        lines.append(QLatin1StringView(what) + QLatin1StringView(": ") + answer);
    };
    add("session", isWayland() ? QStringLiteral("Wayland") : QStringLiteral("X11"));
    const desktop::WindowChoice& windows = m_backends->windows;
    add("front window", windows.hasAnswer() ? windows.nameOfChosen() : QStringLiteral("none"));
    if (const QString limits = windows.notice(); !limits.isEmpty())
        add("limits", limits);
    add("idle time",
        idleReport(m_backends->idleTime.nameOfChosen(),
                   m_facilities.idleTime.secondsSinceLastInput()));
    add("session lock",
        m_backends->lock.isLocked() ? QStringLiteral("locked") : QStringLiteral("not locked"));
    const auto application = m_facilities.frontmostApplication.frontmostApplication();
    add("application in front", found(application.has_value()));
    if (application) {
        add("its name", found(application->localizedName.has_value()));
        add("its identifier", found(application->bundleIdentifier.has_value()));
        add("its process", found(application->processIdentifier != 0));
        add("its window title",
            found(m_facilities.windowTitle.focusedWindowTitle(*application).has_value()));
    }
    add("page addresses",
        m_backends->browserReports.state() + QLatin1StringView("; ") +
            m_backends->accessibleAddresses.state());
    if (const auto places = browsers::supportPlaces(QProcessEnvironment::systemEnvironment()))
        lines += browsers::browserReport(*places);
    return lines;
}

} // namespace platform
