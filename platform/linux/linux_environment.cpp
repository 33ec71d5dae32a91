// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/linux_environment.h"

#include "platform/linux/none/unsupported_desktop.h"
#include "platform/linux/posix/background_priority.h"
#include "platform/linux/posix/posix_atomic_file.h"
#include "platform/linux/posix/stdout_diagnostics.h"
#include "platform/linux/posix/system_clock.h"
#include "platform/linux/qt/network_http_client.h"
#include "platform/linux/qt/qt_repeating_timers.h"
#include "platform/linux/qt/settings_file_defaults.h"
#include "platform/linux/secrets/libsecret_store.h"
#include "platform/linux/x11/x11_connection.h"
#include "platform/linux/x11/x11_frontmost_application.h"
#include "platform/linux/x11/x11_idle_time.h"
#include "platform/linux/x11/x11_window_query.h"
#include "platform/linux/x11/x11_window_title.h"
#include "platform/linux/xdg/application_names.h"
#include "platform/linux/xdg/base_directories.h"
#include "platform/linux/xdg/desktop_entry_folders.h"

#include <QDeadlineTimer>
#include <QProcessEnvironment>

#include <cmath>
#include <optional>
#include <utility>

namespace platform {

namespace {

/// The facilities of a pure X11 session.
struct X11Desktop
{
    explicit X11Desktop(std::unique_ptr<x11::X11Connection> connected)
        : connection(std::move(connected))
        , windows(*connection)
        , names(xdg::desktopEntryFolders(QProcessEnvironment::systemEnvironment()))
        , idleTime(*connection, windows)
        , frontmostApplication(windows, names)
        , windowTitle(windows)
    {
    }

    std::unique_ptr<x11::X11Connection> connection;
    x11::X11WindowQuery windows;
    xdg::ApplicationNames names;
    x11::X11IdleTime idleTime;
    x11::X11FrontmostApplication frontmostApplication;
    x11::X11WindowTitle windowTitle;
};

QString found(bool is)
{
    return is ? QStringLiteral("found") : QStringLiteral("not found");
}

/// Under Wayland an X server, where there is one, sees the windows and the input of X programs
/// only: what it says about the front window is wrong whenever another kind is in front.
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
    return folder ? *folder + QStringLiteral("/com.velomira.UsageMonitor/defaults.ini") : QString();
}

} // namespace

struct LinuxEnvironment::Backends
{
    none::NoIdleTime noIdleTime;
    none::NoFrontmostApplication noFrontmostApplication;
    none::NoWindowTitle noWindowTitle;
    none::NoScriptRunner noScriptRunner;
    std::optional<X11Desktop> x11;
    qt::QtRepeatingTimers repeatingTimers;
    posix::SystemClock clock;
    posix::StdoutDiagnostics diagnostics;
    posix::PosixAtomicFiles atomicFiles;
    qt::SettingsFileDefaults userDefaults{defaultsFile()};
    secrets::LibsecretStore secretStore;
    qt::NetworkHttpClient httpClient;

    [[nodiscard]] Environment facilities()
    {
        return {
            .idleTime = x11 && x11->idleTime.isAvailable() ? static_cast<IdleTime&>(x11->idleTime)
                                                           : noIdleTime,
            .frontmostApplication =
                x11 ? static_cast<FrontmostApplication&>(x11->frontmostApplication)
                    : noFrontmostApplication,
            .windowTitle = x11 ? static_cast<WindowTitle&>(x11->windowTitle) : noWindowTitle,
            .scriptRunner = noScriptRunner,
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
};

Result<std::unique_ptr<LinuxEnvironment>> LinuxEnvironment::create()
{
    if (const Outcome named = checkDisplayName(); !named)
        return named.error();
    auto backends = std::make_unique<Backends>();
    if (!isWayland()) {
        auto connection = x11::X11Connection::open();
        if (!connection)
            return connection.error();
        backends->x11.emplace(std::move(connection).value());
    }
    return std::unique_ptr<LinuxEnvironment>(new LinuxEnvironment(std::move(backends)));
}

Outcome LinuxEnvironment::checkDisplay()
{
    const Outcome named = checkDisplayName();
    return !named || isWayland() ? named : x11::X11Connection::check();
}

LinuxEnvironment::LinuxEnvironment(std::unique_ptr<Backends> backends)
    : m_backends(std::move(backends))
    , m_facilities(m_backends->facilities())
{
    if (const std::optional<X11Desktop>& x11 = m_backends->x11) {
        connect(x11->connection.get(),
                &x11::X11Connection::lost,
                this,
                &LinuxEnvironment::sessionEnded);
    }
}

LinuxEnvironment::~LinuxEnvironment() = default;

const Environment& LinuxEnvironment::facilities() const
{
    return m_facilities;
}

QString LinuxEnvironment::limitation() const
{
    if (m_backends->x11)
        return {};
    return QStringLiteral("this is a Wayland session, which is not supported yet; "
                          "nothing will be recorded");
}

bool LinuxEnvironment::finish(std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    const bool secretsAreKept = m_backends->secretStore.finish(limit);
    const std::chrono::milliseconds left(deadline.remainingTime());
    return m_backends->userDefaults.finish(left) && secretsAreKept;
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
    add("session", m_backends->x11 ? QStringLiteral("X11") : QStringLiteral("Wayland"));
    if (const QString limits = limitation(); !limits.isEmpty())
        add("limits", limits);
    const double idle = m_facilities.idleTime.secondsSinceLastInput();
    add("idle time",
        std::isnan(idle) ? QStringLiteral("unknown, every second counts as active")
                         : QStringLiteral("MIT-SCREEN-SAVER, now %1 s").arg(idle, 0, 'f', 1));
    const auto application = m_facilities.frontmostApplication.frontmostApplication();
    add("front window", m_backends->x11 ? QStringLiteral("EWMH") : QStringLiteral("none"));
    add("application in front", found(application.has_value()));
    if (application) {
        add("its name", found(application->localizedName.has_value()));
        add("its identifier", found(application->bundleIdentifier.has_value()));
        add("its process", found(application->processIdentifier != 0));
        add("its window title",
            found(m_facilities.windowTitle.focusedWindowTitle(*application).has_value()));
    }
    add("page addresses", QStringLiteral("none"));
    return lines;
}

} // namespace platform
