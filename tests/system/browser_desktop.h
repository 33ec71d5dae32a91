// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/application_service.h"
#include "backends/page_addresses/browser_reports.h"
#include "backends/page_addresses/browser_support.h"
#include "backends/xdg/known_browsers.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/headless_x11.h"
#include "tests/support/host_folder.h"
#include "tests/support/page_server.h"
#include "tests/system/x11_observer.h"
#include "tests/system/xdotool.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcessEnvironment>
#include <QTest>

#include <memory>
#include <optional>

/// The processes that run the executable `path`.
[[nodiscard]] inline QList<pid_t> processesOf(const QString& path)
{
    QList<pid_t> found;
    const QDir processes(QStringLiteral("/proc"));
    for (const QString& name : processes.entryList({QStringLiteral("[0-9]*")}, QDir::Dirs)) {
        if (QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(name)) == path)
            found += name.toInt();
    }
    return found;
}

/// Waits for a moment in which no process runs the executable `path`; false when none comes.
/// Without a usage monitor the extension starts a host again and again, which ends at once:
/// QTRY_VERIFY looks once more when it has seen what it waits for, and may see the next one.
[[nodiscard]] inline bool waitUntilNoneRuns(const QString& path, int patienceMs)
{
    return QTest::qWaitFor([&path] { return processesOf(path).isEmpty(); }, patienceMs);
}

/// A private X11 desktop with a session bus, on which this process is the usage monitor: it owns
/// the name and listens to browsers. Everything ends with it.
/// Main thread.
class BrowserDesktop final
{
public:
    BrowserDesktop() = default;
    BrowserDesktop(const BrowserDesktop&) = delete;
    BrowserDesktop& operator=(const BrowserDesktop&) = delete;

    ~BrowserDesktop()
    {
        m_reports.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("browser-desktop"));
    }

    [[nodiscard]] platform::Outcome start()
    {
        if (const auto started = m_desktop.start(); !started)
            return started;
        const QString socket = m_desktop.home() + QLatin1StringView("/runtime/bus");
        if (const auto started = m_bus.start(socket, m_desktop.environment()); !started)
            return started;
        m_connection.emplace(
            QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("browser-desktop")));
        if (!m_connection->registerService(platform::dbus::applicationName()))
            return platform::Error{m_connection->lastError().message()};
        m_host = support::installHost(m_desktop.home() + QLatin1StringView("/bin"),
                                      QStringLiteral(BROWSER_HOST_EXECUTABLE),
                                      QCoreApplication::applicationFilePath());
        if (m_host.isEmpty())
            return platform::Error{QStringLiteral("the native host cannot be installed")};
        listen();
        m_observer =
            X11Observer::on(m_desktop.display(), {QStringLiteral("/usr/share/applications")});
        return m_observer ? platform::success() : platform::Error{QStringLiteral("no X11")};
    }

    /// Begins to listen anew, as after a start of the usage monitor.
    void listen()
    {
        m_reports.reset();
        m_reports = std::make_unique<platform::browsers::BrowserReports>(*m_connection, m_host);
    }

    /// Ends, as the usage monitor does: nobody listens, and nobody has its name.
    [[nodiscard]] bool stopListening()
    {
        m_reports.reset();
        return m_connection->unregisterService(platform::dbus::applicationName());
    }

    /// Starts, after stopListening().
    [[nodiscard]] bool startListening()
    {
        const bool hasName = m_connection->registerService(platform::dbus::applicationName());
        listen();
        return hasName;
    }

    /// The native host, to which this process is the usage monitor.
    [[nodiscard]] const QString& host() const { return m_host; }

    [[nodiscard]] QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = m_desktop.environment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
        return environment;
    }

    /// Puts the manifest for a family that leads to a native host into a folder.
    [[nodiscard]] static bool
    addHost(platform::browsers::Family family, const QString& folder, const QString& host)
    {
        const auto manifest = platform::browsers::hostManifest(family, host);
        QFile file(folder + u'/' + platform::browsers::hostName() + QLatin1StringView(".json"));
        return manifest && QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) &&
               file.write(*manifest) == manifest->size();
    }

    /// Brings a window of front() to the front, as a taskbar does. Returns when it is there.
    [[nodiscard]] bool activate(quint64 window)
    {
        return xdotool(m_desktop, {QStringLiteral("windowactivate"), QString::number(window)}) &&
               QTest::qWaitFor([this, window] {
                   const auto now = front();
                   return now && now->window == window;
               });
    }

    /// The browser window in front, as the product sees it.
    [[nodiscard]] std::optional<platform::browsers::FrontBrowser> front()
    {
        const auto application = m_observer->front();
        if (!application || !application->bundleIdentifier)
            return std::nullopt;
        const auto family = platform::browsers::familyOf(*application->bundleIdentifier);
        if (!family)
            return std::nullopt;
        return platform::browsers::FrontBrowser{
            .family = *family,
            .processIdentifier = application->processIdentifier,
            .windowTitle = m_observer->windows.focusedWindowTitle(*application).value_or(QString()),
            .window = application->window};
    }

    /// The address that a tick would record now; empty for none.
    [[nodiscard]] QString address()
    {
        const auto window = front();
        return window && m_reports ? m_reports->addressIn(*window).value_or(QString()) : QString();
    }

    [[nodiscard]] QString title()
    {
        const auto window = front();
        return window ? window->windowTitle : QString();
    }

    [[nodiscard]] support::HeadlessX11& x11() { return m_desktop; }

    [[nodiscard]] support::PageServer& pages() { return m_pages; }

    [[nodiscard]] platform::browsers::BrowserReports& reports() { return *m_reports; }

    [[nodiscard]] X11Observer& observer() { return *m_observer; }

private:
    support::HeadlessX11 m_desktop;
    support::BusDaemon m_bus;
    std::optional<QDBusConnection> m_connection;
    QString m_host;
    std::unique_ptr<platform::browsers::BrowserReports> m_reports;
    std::unique_ptr<X11Observer> m_observer;
    support::PageServer m_pages;
};
