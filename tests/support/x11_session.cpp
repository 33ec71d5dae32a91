// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/x11_session.h"

#include "tests/support/child_process.h"
#include "tests/support/test_window.h"

namespace support {

QStringList X11Session::programs() const
{
    return HeadlessX11::programs() + TestWindow::programs() +
           QStringList{QStringLiteral("xdotool"), QStringLiteral("dbus-daemon")};
}

platform::Outcome X11Session::start()
{
    if (const auto started = m_desktop.start(); !started)
        return started;
    if (const auto started = m_bus.start(m_desktop.home() + QLatin1StringView("/runtime/bus"),
                                         m_desktop.environment());
        !started)
        return started;
    return xdotool({QStringLiteral("set_num_desktops"), QStringLiteral("2")});
}

QProcessEnvironment X11Session::environment() const
{
    QProcessEnvironment environment = m_desktop.environment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("x11"));
    return environment;
}

platform::Outcome X11Session::focus(const TestWindow& window)
{
    // With --sync it waits until the window manager says that the window is active.
    return xdotool({QStringLiteral("search"),
                    QStringLiteral("--sync"),
                    QStringLiteral("--onlyvisible"),
                    QStringLiteral("--classname"),
                    QLatin1Char('^') + window.identifier() + QLatin1Char('$'),
                    QStringLiteral("windowactivate"),
                    QStringLiteral("--sync"),
                    QStringLiteral("%1")});
}

platform::Outcome X11Session::showEmptyWorkspace()
{
    return showWorkspace(1);
}

platform::Outcome X11Session::showFirstWorkspace()
{
    return showWorkspace(0);
}

platform::Outcome X11Session::makeInput()
{
    return xdotool({QStringLiteral("mousemove_relative"),
                    QStringLiteral("--"),
                    QStringLiteral("1"),
                    QStringLiteral("1")});
}

platform::Outcome X11Session::showWorkspace(int number) const
{
    return xdotool({QStringLiteral("set_desktop"), QString::number(number)});
}

platform::Outcome X11Session::xdotool(const QStringList& arguments) const
{
    ChildProcess program;
    if (const auto started =
            program.start(QStringLiteral("xdotool"), arguments, m_desktop.environment());
        !started)
        return started;
    if (program.process().waitForFinished(20000) && program.process().exitCode() == 0)
        return platform::success();
    return platform::Error{QStringLiteral("xdotool %1 failed").arg(arguments.join(u' '))};
}

} // namespace support
