// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"

#include "tests/support/test_window.h"

#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

namespace support {

namespace {

constexpr int kStartMs = 20000; // on a loaded machine; usual is a quarter of a second
constexpr int kPatienceMs = 30000;

QString program()
{
    return QStringLiteral("kwin_wayland");
}

QString socketName()
{
    return QStringLiteral("wayland-kwin");
}

/// Names, in a script of KWin 5 or 6, its windows and the one in front.
QString scriptHead()
{
    return QStringLiteral(
        "const newer = workspace.windowActivated !== undefined;\n"
        "const windows = newer ? workspace.windowList() : workspace.clientList();\n"
        "function active() { return newer ? workspace.activeWindow : workspace.activeClient; }\n");
}

} // namespace

HeadlessKWin::HeadlessKWin(Extra extra)
    : m_extra(extra)
    , m_scripts(m_home.path())
{
}

QStringList HeadlessKWin::programs() const
{
    QStringList all{program(), QStringLiteral("dbus-daemon")};
    if (m_extra == Extra::XWayland)
        all.append(QStringLiteral("Xwayland"));
    return all;
}

platform::Outcome HeadlessKWin::start()
{
    if (m_bus.address().isEmpty()) {
        if (const auto prepared = prepare(); !prepared)
            return prepared;
    }
    return startKWin();
}

platform::Outcome HeadlessKWin::prepare()
{
    if (const auto created = m_home.create(); !created)
        return created;
    // A copy has no file capability, which containers do not allow. Qt picks KWin's own plug-in
    // by the name of the program.
    const QString folder = m_home.filePath(QStringLiteral("bin"));
    const QString original = QStandardPaths::findExecutable(program());
    if (!QDir().mkpath(folder) || !QFile::copy(original, folder + u'/' + program()))
        return platform::Error{QStringLiteral("cannot copy %1").arg(original)};
    if (const auto started =
            m_bus.start(m_home.filePath(QStringLiteral("runtime/bus")), m_home.environment());
        !started)
        return started;
    return m_scripts.connectTo(m_bus.address());
}

platform::Outcome HeadlessKWin::startKWin()
{
    QStringList arguments = QStringLiteral("--virtual --width 1280 --height 800 "
                                           "--no-global-shortcuts --socket")
                                .split(u' ');
    arguments.append(socketName());
    if (m_extra != Extra::LockScreen)
        arguments.append(QStringLiteral("--no-lockscreen"));
    if (m_extra == Extra::XWayland) {
        // Only what KWin starts itself is told the display of its X server.
        const QString script = m_home.filePath(QStringLiteral("tell_display"));
        QFile file(script);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write("#!/bin/sh\nprintf '%s\\n%s\\n' \"$DISPLAY\" \"$XAUTHORITY\" >\"$0.new\"\n"
                       "mv \"$0.new\" \"$0.out\"\n") < 0 ||
            !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
            return platform::Error{QStringLiteral("cannot write %1").arg(script)};
        QFile::remove(script + QLatin1StringView(".out"));
        arguments << QStringLiteral("--xwayland") << script;
    }
    const auto started = m_kwin.start(m_home.filePath(QStringLiteral("bin/") + program()),
                                      arguments,
                                      kwinEnvironment(),
                                      m_home.logFile(program()));
    if (!started)
        return started;
    const auto answers = [this] {
        return m_scripts
                       .ask(QStringLiteral("/KWin"),
                            QStringLiteral("org.freedesktop.DBus.Peer"),
                            QStringLiteral("Ping"))
                       .type() == QDBusMessage::ReplyMessage &&
               m_scripts
                       .ask(QStringLiteral("/Scripting"),
                            QStringLiteral("org.freedesktop.DBus.Peer"),
                            QStringLiteral("Ping"))
                       .type() == QDBusMessage::ReplyMessage;
    };
    if (!QTest::qWaitFor(answers, kStartMs))
        return platform::Error{QStringLiteral("KWin does not answer on the bus")};
    return m_extra == Extra::XWayland ? learnXDisplay() : platform::success();
}

platform::Outcome HeadlessKWin::learnXDisplay()
{
    QFile file(m_home.filePath(QStringLiteral("tell_display.out")));
    static_cast<void>(QTest::qWaitFor([&file] { return file.exists(); }, kStartMs));
    if (!file.open(QIODevice::ReadOnly))
        return platform::Error{QStringLiteral("KWin has not named its X display")};
    m_xDisplay = QString::fromUtf8(file.readLine()).trimmed();
    m_xAuthority = QString::fromUtf8(file.readLine()).trimmed();
    return platform::success();
}

QProcessEnvironment HeadlessKWin::kwinEnvironment() const
{
    QProcessEnvironment environment = m_home.environment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE"));
    environment.insert(QStringLiteral("KDE_FULL_SESSION"), QStringLiteral("true"));
    environment.insert(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));
    environment.insert(QStringLiteral("LIBGL_ALWAYS_SOFTWARE"), QStringLiteral("1"));
    environment.insert(QStringLiteral("KWIN_COMPOSE"), QStringLiteral("Q")); // no OpenGL
    environment.insert(QStringLiteral("KWIN_WAYLAND_NO_PERMISSION_CHECKS"), QStringLiteral("1"));
    return environment;
}

QProcessEnvironment HeadlessKWin::environment() const
{
    QProcessEnvironment environment = kwinEnvironment();
    environment.remove(QStringLiteral("KWIN_COMPOSE"));
    environment.remove(QStringLiteral("KWIN_WAYLAND_NO_PERMISSION_CHECKS"));
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), socketName());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    if (!m_xDisplay.isEmpty())
        environment.insert(QStringLiteral("DISPLAY"), m_xDisplay);
    if (!m_xAuthority.isEmpty())
        environment.insert(QStringLiteral("XAUTHORITY"), m_xAuthority);
    return environment;
}

QString HeadlessKWin::waylandDisplay() const
{
    return m_home.filePath(QStringLiteral("runtime/")) + socketName();
}

platform::Outcome HeadlessKWin::focus(const TestWindow& window)
{
    const QString script =
        scriptHead() +
        QStringLiteral(
            "for (const w of windows) {\n"
            "    if (w.pid !== %1)\n"
            "        continue;\n"
            "    if (newer) workspace.activeWindow = w; else workspace.activeClient = w;\n"
            "}\n"
            "say(active() && active().pid === %1 ? 'yes' : 'no');\n")
            .arg(window.pid());
    QString answer;
    const bool hasFocus = QTest::qWaitFor(
        [&] {
            answer = m_scripts.run(script);
            return answer == QLatin1StringView("yes");
        },
        kPatienceMs);
    if (hasFocus)
        return platform::success();
    return platform::Error{
        QStringLiteral("KWin does not give %1 the focus: \"%2\"").arg(window.identifier(), answer)};
}

platform::Outcome HeadlessKWin::showWorkspace(int number, const char* wanted)
{
    static_cast<void>(m_scripts.ask(QStringLiteral("/KWin"),
                                    QStringLiteral("org.kde.KWin"),
                                    QStringLiteral("setCurrentDesktop"),
                                    {number}));
    const QString script = scriptHead() + QStringLiteral("say(active() ? 'window' : 'nothing');\n");
    QString answer;
    const bool isThere = QTest::qWaitFor(
        [&] {
            answer = m_scripts.run(script);
            return answer == QLatin1StringView(wanted);
        },
        kPatienceMs);
    if (isThere)
        return platform::success();
    return platform::Error{
        QStringLiteral("on workspace %1 of KWin, \"%2\" is in front").arg(number).arg(answer)};
}

platform::Outcome HeadlessKWin::showEmptyWorkspace()
{
    const QString manager = QStringLiteral("/VirtualDesktopManager");
    const QString interface = QStringLiteral("org.kde.KWin.VirtualDesktopManager");
    const QDBusMessage count = m_scripts.ask(manager,
                                             QStringLiteral("org.freedesktop.DBus.Properties"),
                                             QStringLiteral("Get"),
                                             {interface, QStringLiteral("count")});
    if (count.arguments().value(0).value<QDBusVariant>().variant().toUInt() == 1)
        static_cast<void>(m_scripts.ask(
            manager, interface, QStringLiteral("createDesktop"), {1U, QStringLiteral("Empty")}));
    return showWorkspace(2, "nothing");
}

platform::Outcome HeadlessKWin::showFirstWorkspace()
{
    const QString hasWindows = m_scripts.run(
        scriptHead() + QStringLiteral("say(windows.length > 0 ? 'window' : 'nothing');\n"));
    return showWorkspace(1, hasWindows == QLatin1StringView("window") ? "window" : "nothing");
}

platform::Outcome HeadlessKWin::makeInput()
{
    ChildProcess input;
    if (const auto started = input.start(QStringLiteral(KWIN_INPUT_EXECUTABLE),
                                         {},
                                         environment(),
                                         m_home.logFile(QStringLiteral("kwin_input")));
        !started)
        return started;
    const bool hasEnded = QTest::qWaitFor([&input] { return !input.isRunning(); }, kPatienceMs);
    if (hasEnded && input.process().exitCode() == 0)
        return platform::success();
    return platform::Error{QStringLiteral("KWin does not take input")};
}

void HeadlessKWin::killDisplay()
{
    m_kwin.kill();
}

platform::Outcome HeadlessKWin::restartScripting()
{
    const QDBusMessage restarted = m_scripts.ask(QStringLiteral("/Scripting"),
                                                 QStringLiteral("org.kde.kwin.Scripting"),
                                                 QStringLiteral("start"));
    const QDBusMessage reconfigured = m_scripts.ask(
        QStringLiteral("/KWin"), QStringLiteral("org.kde.KWin"), QStringLiteral("reconfigure"));
    if (restarted.type() == QDBusMessage::ReplyMessage &&
        reconfigured.type() == QDBusMessage::ReplyMessage)
        return platform::success();
    return platform::Error{QStringLiteral("KWin does not start its scripts anew")};
}

} // namespace support
