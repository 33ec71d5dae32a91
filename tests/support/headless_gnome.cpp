// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_gnome.h"

#include "tests/support/test_window.h"
#include "tests/support/written_file.h"

#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QFile>
#include <QTest>

#include <atomic>
#include <csignal>
#include <utility>

namespace support {

using platform::Error;
using platform::Outcome;
using platform::success;

namespace {

constexpr int kPatienceMs = 60000; // on a loaded machine; usual is a second
constexpr int kCallMs = 20000;

constexpr uint kEscape = 1; // of evdev
constexpr uint kLeftShift = 42;

const QString kShell = QStringLiteral("org.gnome.Shell");
const QString kRemoteDesktop = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString kWaylandDisplay = QStringLiteral("wayland-gnome");

QString extensionUuid()
{
    return QStringLiteral(GNOME_EXTENSION_UUID);
}

QString newConnectionName()
{
    static std::atomic<int> count = 0;
    return QStringLiteral("headless-gnome-%1").arg(++count);
}

Outcome write(const QString& path, const QByteArray& text)
{
    if (!writeFile(path, text))
        return Error{QStringLiteral("cannot write %1").arg(path)};
    return success();
}

} // namespace

HeadlessGnome::HeadlessGnome(Extension extension, QString language)
    : m_extension(extension)
    , m_language(std::move(language))
    , m_connectionName(newConnectionName())
    , m_connection(m_connectionName)
{
}

HeadlessGnome::~HeadlessGnome()
{
    // It may crash when it is asked to end.
    m_shell.kill();
    QDBusConnection::disconnectFromBus(m_connectionName);
}

QStringList HeadlessGnome::programs() const
{
    return TestWindow::programs() << QStringLiteral("gnome-shell") << QStringLiteral("dbus-daemon");
}

QString HeadlessGnome::dataHome() const
{
    return m_home.environment().value(QStringLiteral("XDG_DATA_HOME"));
}

QString HeadlessGnome::extensionFolder() const
{
    return dataHome() + QStringLiteral("/gnome-shell/extensions/") + extensionUuid();
}

QProcessEnvironment HeadlessGnome::environment() const
{
    QProcessEnvironment environment = m_home.environment();
    const auto set = [&environment](const char* name, const QString& value) {
        environment.insert(QString::fromLatin1(name), value);
    };
    set("XDG_CURRENT_DESKTOP", QStringLiteral("GNOME"));
    set("XDG_SESSION_TYPE", QStringLiteral("wayland"));
    set("XDG_SESSION_DESKTOP", QStringLiteral("gnome"));
    set("WAYLAND_DISPLAY", kWaylandDisplay);
    set("QT_QPA_PLATFORM", QStringLiteral("wayland"));
    set("GDK_BACKEND", QStringLiteral("wayland"));
    set("GSETTINGS_BACKEND", QStringLiteral("keyfile"));
    set("LIBGL_ALWAYS_SOFTWARE", QStringLiteral("1"));
    if (!m_language.isEmpty())
        set("LANGUAGE", m_language);
    // Services that the bus would start, and that outlive it for a while: file systems, drives,
    // accessibility.
    set("GIO_USE_VFS", QStringLiteral("local"));
    set("GVFS_DISABLE_FUSE", QStringLiteral("1"));
    set("GIO_USE_VOLUME_MONITOR", QStringLiteral("unix"));
    set("NO_AT_BRIDGE", QStringLiteral("1"));
    set("DBUS_SYSTEM_BUS_ADDRESS", m_systemBus.address());
    set("DBUS_SESSION_BUS_ADDRESS", m_bus.address());
    return environment;
}

Outcome HeadlessGnome::writeSettings() const
{
    const QString enabled =
        m_extension == Extension::Off ? QString() : u'\'' + extensionUuid() + u'\'';
    const QString text = QStringLiteral("[org/gnome/shell]\n"
                                        "enabled-extensions=@as [%1]\n"
                                        "disable-user-extensions=false\n"
                                        "welcome-dialog-last-shown-version='99'\n"
                                        "[org/gnome/desktop/interface]\n"
                                        "enable-animations=false\n"
                                        "[org/gnome/desktop/session]\n"
                                        "idle-delay=uint32 0\n")
                             .arg(enabled);
    const QString config = m_home.environment().value(QStringLiteral("XDG_CONFIG_HOME"));
    return write(config + QStringLiteral("/glib-2.0/settings/keyfile"), text.toUtf8());
}

Outcome HeadlessGnome::installExtension()
{
    const QString from = QStringLiteral(GNOME_EXTENSION);
    const QString to = extensionFolder() + u'/';
    for (const auto* const name : {"extension.js", "metadata.json"}) {
        QFile file(from + u'/' + QLatin1StringView(name));
        if (!file.open(QIODevice::ReadOnly))
            return Error{QStringLiteral("cannot read %1").arg(file.fileName())};
        if (const auto written = write(to + QLatin1StringView(name), file.readAll()); !written)
            return written;
    }
    return success();
}

Outcome HeadlessGnome::start()
{
    if (const auto created = m_home.create(); !created)
        return created;
    if (const auto written = writeSettings(); !written)
        return written;
    if (m_extension != Extension::Missing) {
        if (const auto installed = installExtension(); !installed)
            return installed;
    }
    if (const auto started =
            m_systemBus.start(m_home.filePath(QStringLiteral("system-bus")), environment());
        !started)
        return started;
    if (const auto started = m_bus.start(m_home.filePath(QStringLiteral("bus")), environment());
        !started)
        return started;
    m_connection = QDBusConnection::connectToBus(m_bus.address(), m_connectionName);
    if (!m_connection.isConnected())
        return Error{m_connection.lastError().message()};
    return startShell();
}

Outcome HeadlessGnome::startShell()
{
    const QString program = QStringLiteral("gnome-shell");
    const QStringList arguments{QStringLiteral("--headless"),
                                QStringLiteral("--no-x11"),
                                QStringLiteral("--unsafe-mode"),
                                QStringLiteral("--virtual-monitor"),
                                QStringLiteral("1280x800"),
                                QStringLiteral("--wayland-display=") + kWaylandDisplay};
    QProcessEnvironment variables = environment();
    variables.remove(QStringLiteral("WAYLAND_DISPLAY"));
    if (const auto started = m_shell.start(program, arguments, variables, m_home.logFile(program));
        !started)
        return started;
    const auto isReady = [this] {
        return isTrue(QStringLiteral("!Main.layoutManager._startingUp"));
    };
    if (!QTest::qWaitFor([&] { return isReady() || !m_shell.isRunning(); }, kPatienceMs) ||
        !m_shell.isRunning())
        return Error{
            QStringLiteral("gnome-shell has not started; see %1").arg(m_home.logFile(program))};
    if (const auto taken = takeSeat(); !taken)
        return taken;
    return leaveOverview();
}

// Without a keyboard on the seat no window gets the focus.
Outcome HeadlessGnome::takeSeat()
{
    const QDBusMessage session = call(kRemoteDesktop,
                                      QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                                      kRemoteDesktop,
                                      QStringLiteral("CreateSession"));
    m_seat = session.arguments().value(0).value<QDBusObjectPath>().path();
    if (m_seat.isEmpty())
        return Error{session.errorMessage()};
    const QDBusMessage begun = call(kRemoteDesktop,
                                    m_seat,
                                    kRemoteDesktop + QStringLiteral(".Session"),
                                    QStringLiteral("Start"));
    if (begun.type() != QDBusMessage::ReplyMessage)
        return Error{begun.errorMessage()};
    return makeInput();
}

// The shell starts in its overview, where no window has the focus.
Outcome HeadlessGnome::leaveOverview()
{
    const QString hasLeft = QStringLiteral("!Main.overview.visible");
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (QTest::qWaitFor([&] { return isTrue(hasLeft); }, attempt == 0 ? 0 : 2000))
            return success();
        if (const auto pressed = pressKey(kEscape); !pressed)
            return pressed;
    }
    return Error{QStringLiteral("gnome-shell does not leave its overview")};
}

Outcome HeadlessGnome::pressKey(uint code)
{
    for (const bool isDown : {true, false}) {
        const QDBusMessage reply = call(kRemoteDesktop,
                                        m_seat,
                                        kRemoteDesktop + QStringLiteral(".Session"),
                                        QStringLiteral("NotifyKeyboardKeycode"),
                                        {code, isDown});
        if (reply.type() != QDBusMessage::ReplyMessage)
            return Error{reply.errorMessage()};
    }
    return success();
}

Outcome HeadlessGnome::makeInput()
{
    return pressKey(kLeftShift);
}

Outcome HeadlessGnome::focus(const TestWindow& window)
{
    const QString script =
        QStringLiteral("(() => {"
                       "const window = global.get_window_actors().map(a => a.meta_window)"
                       ".find(w => w.get_pid() === %1);"
                       "const has = window && global.display.focus_window === window;"
                       "if (window && !has)"
                       " Main.activateWindow(window, global.display.get_current_time_roundtrip());"
                       "return Boolean(has);"
                       "})()")
            .arg(window.pid());
    if (QTest::qWaitFor([&] { return isTrue(script); }, kCallMs))
        return success();
    return Error{QStringLiteral("the window %1 does not get the focus").arg(window.identifier())};
}

Outcome HeadlessGnome::showEmptyWorkspace()
{
    // The shell always keeps an empty one at the end.
    return showWorkspace(QStringLiteral("(global.workspace_manager.n_workspaces - 1)"));
}

Outcome HeadlessGnome::showFirstWorkspace()
{
    return showWorkspace(QStringLiteral("0"));
}

Outcome HeadlessGnome::showWorkspace(const QString& index)
{
    const QString script =
        QStringLiteral("(() => {"
                       "const manager = global.workspace_manager;"
                       "const workspace = manager.get_workspace_by_index(%1);"
                       "if (manager.get_active_workspace() === workspace) return true;"
                       "workspace.activate(global.display.get_current_time_roundtrip());"
                       "return false;"
                       "})()")
            .arg(index);
    if (QTest::qWaitFor([&] { return isTrue(script); }, kCallMs))
        return success();
    return Error{QStringLiteral("gnome-shell does not show the workspace %1").arg(index)};
}

void HeadlessGnome::killDisplay()
{
    m_shell.kill();
}

void HeadlessGnome::pauseShell()
{
    ::kill(static_cast<pid_t>(m_shell.pid()), SIGSTOP);
}

void HeadlessGnome::resumeShell()
{
    ::kill(static_cast<pid_t>(m_shell.pid()), SIGCONT);
}

Outcome HeadlessGnome::setExtensionEnabled(bool enabled)
{
    const QDBusMessage reply =
        call(kShell,
             QStringLiteral("/org/gnome/Shell"),
             QStringLiteral("org.gnome.Shell.Extensions"),
             enabled ? QStringLiteral("EnableExtension") : QStringLiteral("DisableExtension"),
             {extensionUuid()});
    if (!reply.arguments().value(0).toBool())
        return Error{
            QStringLiteral("gnome-shell does not know the extension %1").arg(reply.errorMessage())};
    return success();
}

qint64 HeadlessGnome::idleMilliseconds()
{
    const QString interface = QStringLiteral("org.gnome.Mutter.IdleMonitor");
    const QDBusMessage reply = call(interface,
                                    QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"),
                                    interface,
                                    QStringLiteral("GetIdletime"));
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toLongLong()
                                                      : -1;
}

platform::Result<QString> HeadlessGnome::evaluate(const QString& script)
{
    const QDBusMessage reply =
        call(kShell, QStringLiteral("/org/gnome/Shell"), kShell, QStringLiteral("Eval"), {script});
    if (reply.type() != QDBusMessage::ReplyMessage)
        return Error{reply.errorMessage()};
    const QString value = reply.arguments().value(1).toString();
    if (!reply.arguments().value(0).toBool())
        return Error{value};
    return value;
}

bool HeadlessGnome::isTrue(const QString& script)
{
    const auto value = evaluate(script);
    return value && value.value() == QStringLiteral("true");
}

QDBusMessage HeadlessGnome::call(const QString& name,
                                 const QString& path,
                                 const QString& interface,
                                 const QString& method,
                                 const QVariantList& arguments)
{
    QDBusMessage question = QDBusMessage::createMethodCall(name, path, interface, method);
    question.setAutoStartService(false);
    question.setArguments(arguments);
    const QDBusPendingCall pending = m_connection.asyncCall(question, kCallMs);
    static_cast<void>(QTest::qWaitFor([&] { return pending.isFinished(); }, kCallMs + 1000));
    return pending.reply();
}

} // namespace support
