// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_sway.h"

#include "tests/support/test_window.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

namespace support {

namespace {

constexpr int kPatienceMs = 20000; // on a loaded machine; usual is a tenth of a second

constexpr const char* kSettings = R"(output HEADLESS-1 resolution 1280x800
xwayland force
focus_follows_mouse no
mouse_warping none
)";

bool isRoot()
{
    return ::geteuid() == 0;
}

QString firstMatch(const QString& folder, const QString& pattern)
{
    return QDir(folder).entryList({pattern}, QDir::System | QDir::Files).value(0);
}

/// Of a node and what is in it.
QJsonObject nodeWithFocus(const QJsonObject& node)
{
    if (node.value(QLatin1StringView("focused")).toBool())
        return node;
    for (const char* kind : {"nodes", "floating_nodes"}) {
        for (const QJsonValue child : node.value(QLatin1StringView(kind)).toArray()) {
            const QJsonObject found = nodeWithFocus(child.toObject());
            if (!found.isEmpty())
                return found;
        }
    }
    return {};
}

int countTitled(const QJsonObject& node, const QString& title)
{
    const bool isIt = node.contains(QLatin1StringView("pid")) &&
                      node.value(QLatin1StringView("name")).toString() == title;
    int count = isIt ? 1 : 0;
    for (const char* kind : {"nodes", "floating_nodes"}) {
        for (const QJsonValue child : node.value(QLatin1StringView(kind)).toArray())
            count += countTitled(child.toObject(), title);
    }
    return count;
}

} // namespace

HeadlessSway::~HeadlessSway()
{
    m_keyboard.stop();
    m_sway.stop();
}

QStringList HeadlessSway::programs() const
{
    QStringList names = QStringLiteral("sway swaymsg Xwayland xhost wtype dbus-daemon").split(u' ');
    if (isRoot())
        names.append(QStringLiteral("setpriv"));
    return names + TestWindow::programs();
}

platform::Outcome HeadlessSway::start()
{
    if (auto created = m_home.create(); !created)
        return created;
    if (auto prepared = prepareFolder(); !prepared)
        return prepared;
    if (auto started =
            m_bus.start(m_home.filePath(QStringLiteral("runtime/bus")), m_home.environment());
        !started)
        return started;
    if (auto started = startCompositor(); !started)
        return started;
    if (auto found = findSockets(); !found)
        return found;
    if (auto found = findXDisplay(); !found)
        return found;
    return plugKeyboardIn();
}

platform::Outcome HeadlessSway::prepareFolder() const
{
    QFile settings(m_folder.filePath(QStringLiteral("config")));
    if (!m_folder.isValid() || !settings.open(QIODevice::WriteOnly) ||
        settings.write(kSettings) < 0)
        return platform::Error{QStringLiteral("cannot write %1").arg(settings.fileName())};
    settings.close();
    if (!isRoot())
        return platform::success();
    const passwd* const nobody = ::getpwnam("nobody");
    for (const QString& path : {settings.fileName(), m_folder.path()}) {
        if (nobody == nullptr || ::chown(qPrintable(path), nobody->pw_uid, nobody->pw_gid) != 0)
            return platform::Error{QStringLiteral("cannot give %1 to nobody").arg(path)};
    }
    return platform::success();
}

platform::Outcome HeadlessSway::startCompositor()
{
    QProcessEnvironment environment = m_home.environment();
    for (const char* folder : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        environment.insert(QString::fromLatin1(folder), m_folder.path());
    environment.insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    environment.insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    environment.insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
    QStringList line{
        QStringLiteral("sway"), QStringLiteral("-c"), m_folder.filePath(QStringLiteral("config"))};
    // A change of the user takes back that sway is to end with the test, hence setpriv's own.
    if (isRoot())
        line = QStringLiteral("setpriv --reuid=nobody --regid=nogroup --clear-groups "
                              "--pdeathsig=KILL --")
                   .split(u' ') +
               line;
    const QString program = line.takeFirst();
    return m_sway.start(program, line, environment, m_home.logFile(QStringLiteral("sway")));
}

platform::Outcome HeadlessSway::findSockets()
{
    const auto areThere = [this] {
        m_display = firstMatch(m_folder.path(), QStringLiteral("wayland-?"));
        const QString name = firstMatch(m_folder.path(), QStringLiteral("sway-ipc.*.sock"));
        m_swaySocket = name.isEmpty() ? QString() : m_folder.filePath(name);
        return !m_display.isEmpty() && !m_swaySocket.isEmpty() &&
               !ask(QStringLiteral("get_tree")).isNull();
    };
    if (!QTest::qWaitFor(areThere, kPatienceMs))
        return platform::Error{QStringLiteral("sway does not answer; see %1")
                                   .arg(m_home.logFile(QStringLiteral("sway")))};
    // Under its name in the folder where programs look for it.
    if (!QFile::link(m_folder.filePath(m_display), waylandDisplay()))
        return platform::Error{QStringLiteral("cannot link %1").arg(waylandDisplay())};
    return platform::success();
}

// Only sway knows it, and tells it to what it starts. The server takes programs of nobody's only,
// unless it is told.
platform::Outcome HeadlessSway::findXDisplay()
{
    const QString file = m_folder.filePath(QStringLiteral("x-display"));
    const QString line =
        QStringLiteral("xhost +local: && printenv DISPLAY > %1.new && mv %1.new %1").arg(file);
    if (auto started = command({QStringLiteral("exec"), line}); !started)
        return started;
    if (!QTest::qWaitFor([&file] { return QFile::exists(file); }, kPatienceMs))
        return platform::Error{QStringLiteral("sway has not told its X display")};
    QFile told(file);
    if (told.open(QIODevice::ReadOnly))
        m_xDisplay = QString::fromLatin1(told.readAll().trimmed());
    return platform::success();
}

platform::Outcome HeadlessSway::plugKeyboardIn()
{
    const QString program = QStringLiteral("wtype");
    // It presses the key after these milliseconds, when no test runs any more.
    if (auto started = m_keyboard.start(program,
                                        QStringLiteral("-s 86400000 -k Shift_L").split(u' '),
                                        environment(),
                                        m_home.logFile(program));
        !started)
        return started;
    const auto isThere = [this] {
        for (const QJsonValue input : ask(QStringLiteral("get_inputs")).array()) {
            if (input.toObject().value(QLatin1StringView("type")) == QLatin1StringView("keyboard"))
                return true;
        }
        return false;
    };
    if (!QTest::qWaitFor(isThere, kPatienceMs))
        return platform::Error{QStringLiteral("sway has no keyboard")};
    return platform::success();
}

QProcessEnvironment HeadlessSway::environment() const
{
    QProcessEnvironment environment = m_home.environment();
    environment.insert(QStringLiteral("WAYLAND_DISPLAY"), m_display);
    environment.insert(QStringLiteral("DISPLAY"), m_xDisplay);
    environment.insert(QStringLiteral("SWAYSOCK"), m_swaySocket);
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
    environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("sway"));
    environment.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("wayland"));
    environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    return environment;
}

platform::Outcome HeadlessSway::focus(const TestWindow& window)
{
    return focusProcess(window.pid());
}

platform::Outcome HeadlessSway::focusProcess(qint64 pid)
{
    // A window may need a moment until sway has placed it; until then there is nothing to focus.
    const auto hasFocus = [this, pid] {
        static_cast<void>(command({QStringLiteral("[pid=%1]").arg(pid), QStringLiteral("focus")}));
        return focusedNode().value(QLatin1StringView("pid")).toInteger() == pid;
    };
    if (!QTest::qWaitFor(hasFocus, kPatienceMs))
        return platform::Error{
            QStringLiteral("the window of process %1 has not got the focus").arg(pid)};
    return platform::success();
}

platform::Outcome HeadlessSway::focusTitled(const QString& title)
{
    const auto hasFocus = [this, &title] {
        static_cast<void>(
            command({QStringLiteral("[title=\"^%1$\"]").arg(title), QStringLiteral("focus")}));
        return focusedTitle() == title;
    };
    if (!QTest::qWaitFor(hasFocus, kPatienceMs))
        return platform::Error{
            QStringLiteral("the window \"%1\" has not got the focus").arg(title)};
    return platform::success();
}

QString HeadlessSway::focusedTitle() const
{
    const QJsonObject node = focusedNode();
    // A workspace has a name, too, and no process.
    return node.contains(QLatin1StringView("pid"))
               ? node.value(QLatin1StringView("name")).toString()
               : QString();
}

int HeadlessSway::windowsTitled(const QString& title) const
{
    return countTitled(ask(QStringLiteral("get_tree")).object(), title);
}

platform::Outcome HeadlessSway::showEmptyWorkspace()
{
    return showWorkspace(QStringLiteral("empty"));
}

platform::Outcome HeadlessSway::showFirstWorkspace()
{
    return showWorkspace(QStringLiteral("1"));
}

platform::Outcome HeadlessSway::showWorkspace(const QString& name)
{
    if (auto done = command({QStringLiteral("workspace"), name}); !done)
        return done;
    const auto isShown = [this, &name] {
        for (const QJsonValue workspace : ask(QStringLiteral("get_workspaces")).array()) {
            const QJsonObject found = workspace.toObject();
            if (found.value(QLatin1StringView("focused")).toBool())
                return found.value(QLatin1StringView("name")).toString() == name;
        }
        return false;
    };
    if (!QTest::qWaitFor(isShown, kPatienceMs))
        return platform::Error{QStringLiteral("sway does not show the workspace %1").arg(name)};
    return platform::success();
}

platform::Outcome HeadlessSway::makeInput()
{
    return command(QStringLiteral("seat - cursor move 1 1").split(u' '));
}

platform::Outcome HeadlessSway::reload()
{
    return command({QStringLiteral("reload")});
}

void HeadlessSway::killDisplay()
{
    m_sway.kill();
}

platform::Outcome HeadlessSway::command(const QStringList& words) const
{
    ChildProcess swaymsg;
    const QStringList arguments =
        QStringList{QStringLiteral("-s"), m_swaySocket, QStringLiteral("--")} + words;
    if (auto started = swaymsg.start(QStringLiteral("swaymsg"), arguments, m_home.environment());
        !started)
        return started;
    QProcess& process = swaymsg.process();
    if (!process.waitForFinished(kPatienceMs) || process.exitCode() != 0)
        return platform::Error{
            QStringLiteral("sway has not done \"%1\": %2")
                .arg(words.join(u' '), QString::fromUtf8(process.readAllStandardOutput()))};
    return platform::success();
}

QJsonDocument HeadlessSway::ask(const QString& question) const
{
    ChildProcess swaymsg;
    if (!swaymsg.start(QStringLiteral("swaymsg"),
                       {QStringLiteral("-s"),
                        m_swaySocket,
                        QStringLiteral("-r"),
                        QStringLiteral("-t"),
                        question},
                       m_home.environment()))
        return {};
    swaymsg.process().waitForFinished(kPatienceMs);
    return QJsonDocument::fromJson(swaymsg.process().readAllStandardOutput());
}

QJsonObject HeadlessSway::focusedNode() const
{
    return nodeWithFocus(ask(QStringLiteral("get_tree")).object());
}

} // namespace support
