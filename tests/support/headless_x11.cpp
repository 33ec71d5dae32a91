// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_x11.h"

#include "tests/support/x11_client.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <utility>

namespace support {

namespace {
constexpr int kStartMs = 20000; // on a loaded machine; usual is a fifth of a second

/// Nothing but what tests rely on: a new window gets the focus, the pointer does not move it.
constexpr const char* kWindowManagerSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew><followMouse>no</followMouse></focus>
  <desktops><number>1</number></desktops>
</openbox_config>
)";
} // namespace

HeadlessX11::HeadlessX11() = default;

HeadlessX11::~HeadlessX11()
{
    m_programs.clear();
    m_windowManager.stop();
    m_server.stop();
}

QStringList HeadlessX11::programs()
{
    return {QStringLiteral("Xvfb"), QStringLiteral("openbox")};
}

platform::Outcome HeadlessX11::start(const QStringList& serverArguments)
{
    if (const auto created = m_home.create(); !created)
        return created;
    if (const auto written = writeWindowManagerSettings(); !written)
        return written;

    // The server picks a free number and tells it once it takes connections. Without -noreset it
    // would start anew, now and then in the middle of the window manager's start.
    const QStringList arguments =
        QStringLiteral("-displayfd 1 -noreset -nolisten tcp -screen 0 1280x800x24").split(u' ') +
        serverArguments;
    const QString server = QStringLiteral("Xvfb");
    if (const auto started =
            m_server.start(server, arguments, environment(), m_home.logFile(server));
        !started)
        return started;
    QProcess& process = m_server.process();
    while (!process.canReadLine() && process.waitForReadyRead(kStartMs)) {
    }
    const QByteArray number = process.readLine().trimmed();
    if (number.isEmpty())
        return platform::Error{QStringLiteral("Xvfb has not named its display")};
    m_display = u':' + QString::fromLatin1(number);
    return startWindowManager();
}

QProcessEnvironment HeadlessX11::environment() const
{
    QProcessEnvironment environment = m_home.environment();
    environment.insert(QStringLiteral("DISPLAY"), m_display);
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("x11"));
    return environment;
}

platform::Outcome HeadlessX11::startWindowManager()
{
    const QString manager = QStringLiteral("openbox");
    const auto started = m_windowManager.start(
        manager, {QStringLiteral("--sm-disable")}, environment(), m_home.logFile(manager));
    if (!started)
        return started;
    const X11Client client(m_display);
    if (!QTest::qWaitFor([&client] { return client.hasWindowManager(); }, kStartMs) ||
        !client.waitForWindowManager())
        return platform::Error{QStringLiteral("openbox does not manage the screen")};
    return platform::success();
}

void HeadlessX11::killWindowManager()
{
    m_windowManager.kill();
}

void HeadlessX11::pauseServer()
{
    ::kill(static_cast<pid_t>(m_server.pid()), SIGSTOP);
}

void HeadlessX11::resumeServer()
{
    ::kill(static_cast<pid_t>(m_server.pid()), SIGCONT);
}

void HeadlessX11::killServer()
{
    m_server.kill();
}

platform::Result<ChildProcess*> HeadlessX11::startProgram(const QString& program,
                                                          const QStringList& arguments)
{
    return startProgram(program, arguments, environment());
}

platform::Result<ChildProcess*> HeadlessX11::startProgram(const QString& program,
                                                          const QStringList& arguments,
                                                          const QProcessEnvironment& environment)
{
    auto child = std::make_unique<ChildProcess>();
    const auto started = child->start(program, arguments, environment, m_home.logFile(program));
    if (!started)
        return started.error();
    m_programs.push_back(std::move(child));
    return m_programs.back().get();
}

void HeadlessX11::stopProgram(ChildProcess* program)
{
    std::erase_if(m_programs, [program](const auto& child) { return child.get() == program; });
}

platform::Outcome HeadlessX11::writeWindowManagerSettings() const
{
    const QString folder = m_home.filePath(QStringLiteral("config/openbox"));
    QFile file(folder + QLatin1String("/rc.xml"));
    if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly) ||
        file.write(kWindowManagerSettings) < 0)
        return platform::Error{QStringLiteral("cannot write %1").arg(file.fileName())};
    return platform::success();
}

} // namespace support
