// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_weston.h"

#include "tests/support/test_window.h"

#include <QFileInfo>
#include <QTest>

namespace support {

namespace {

constexpr int kPatienceMs = 20000; // on a loaded machine; usual is a tenth of a second

QString displayName()
{
    return QStringLiteral("wayland-weston");
}

platform::Error cannot()
{
    return {QStringLiteral("Weston without a screen cannot do this")};
}

} // namespace

HeadlessWeston::~HeadlessWeston()
{
    m_weston.stop();
}

QStringList HeadlessWeston::programs() const
{
    return QStringList{QStringLiteral("weston"), QStringLiteral("dbus-daemon")} +
           TestWindow::programs();
}

platform::Outcome HeadlessWeston::start()
{
    if (auto created = m_home.create(); !created)
        return created;
    if (auto started =
            m_bus.start(m_home.filePath(QStringLiteral("runtime/bus")), m_home.environment());
        !started)
        return started;
    const QString program = QStringLiteral("weston");
    const QStringList arguments{QStringLiteral("--backend=headless-backend.so"),
                                QStringLiteral("--use-pixman"),
                                QStringLiteral("--width=1280"),
                                QStringLiteral("--height=800"),
                                QStringLiteral("--no-config"),
                                QStringLiteral("--socket=") + displayName()};
    if (auto started =
            m_weston.start(program, arguments, m_home.environment(), m_home.logFile(program));
        !started)
        return started;
    if (!QTest::qWaitFor([this] { return QFileInfo::exists(waylandDisplay()); }, kPatienceMs))
        return platform::Error{QStringLiteral("weston has not made its display")};
    return platform::success();
}

QProcessEnvironment HeadlessWeston::environment() const
{
    QProcessEnvironment environment = m_home.environment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), displayName());
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("weston"));
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    return environment;
}

platform::Outcome HeadlessWeston::focus(const TestWindow& /*window*/)
{
    return cannot();
}

platform::Outcome HeadlessWeston::showEmptyWorkspace()
{
    return cannot();
}

platform::Outcome HeadlessWeston::showFirstWorkspace()
{
    return cannot();
}

platform::Outcome HeadlessWeston::makeInput()
{
    return cannot();
}

void HeadlessWeston::killDisplay()
{
    m_weston.kill();
}

QString HeadlessWeston::waylandDisplay() const
{
    return m_home.filePath(QStringLiteral("runtime/") + displayName());
}

} // namespace support
