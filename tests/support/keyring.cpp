// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/keyring.h"

#include <QFile>
#include <QTest>

#include <csignal>
#include <gio/gio.h>
#include <string_view>

namespace support {

namespace {

constexpr int kStartMs = 20000; // on a loaded machine; usual is a fifth of a second
constexpr const char* kPassword = "a test's password";
constexpr const char* kService = "org.freedesktop.secrets";
constexpr const char* kServicePath = "/org/freedesktop/secrets";
constexpr const char* kLogin = "/org/freedesktop/secrets/collection/login";

/// A bus without services that it could start.
constexpr const char* kBusSettings = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=%1/bus</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

/// A connection of the test's own to the keyring on one bus.
class KeyringCaller final
{
public:
    explicit KeyringCaller(const QString& address)
        : m_bus(g_dbus_connection_new_for_address_sync(
              address.toUtf8().constData(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr,
              nullptr,
              nullptr))
    {
    }

    KeyringCaller(const KeyringCaller&) = delete;
    KeyringCaller& operator=(const KeyringCaller&) = delete;

    ~KeyringCaller()
    {
        if (m_bus == nullptr)
            return;
        g_dbus_connection_close_sync(m_bus, nullptr, nullptr);
        g_object_unref(m_bus);
    }

    /// Calls a method of the service; the caller owns the result, which is null after a failure.
    [[nodiscard]] GVariant*
    call(const char* interface, const char* method, GVariant* arguments) const
    {
        return m_bus == nullptr ? nullptr
                                : g_dbus_connection_call_sync(m_bus,
                                                              kService,
                                                              kServicePath,
                                                              interface,
                                                              method,
                                                              arguments,
                                                              nullptr,
                                                              G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                                              kStartMs,
                                                              nullptr,
                                                              nullptr);
    }

    [[nodiscard]] bool hasLogin() const
    {
        GVariant* const reply =
            call("org.freedesktop.Secret.Service", "ReadAlias", g_variant_new("(s)", "login"));
        if (reply == nullptr)
            return false;
        const char* path = nullptr;
        g_variant_get(reply, "(&o)", &path);
        const bool isLogin = std::string_view(path) == kLogin;
        g_variant_unref(reply);
        return isLogin;
    }

private:
    GDBusConnection* m_bus;
};

platform::Outcome made(GVariant* reply, const char* what)
{
    if (reply == nullptr)
        return platform::Error{QStringLiteral("the keyring did not %1").arg(QLatin1String(what))};
    g_variant_unref(reply);
    return platform::success();
}

} // namespace

QStringList Keyring::programs()
{
    return {QStringLiteral("dbus-daemon"),
            QStringLiteral("gnome-keyring-daemon"),
            QStringLiteral("secret-tool")};
}

platform::Outcome Keyring::startBus()
{
    if (const auto created = m_home.create(); !created)
        return created;
    QFile settings(m_home.filePath(QStringLiteral("bus.conf")));
    const QByteArray text =
        QString::fromLatin1(kBusSettings).arg(m_home.filePath(QStringLiteral("runtime"))).toUtf8();
    if (!settings.open(QIODevice::WriteOnly) || settings.write(text) != text.size())
        return platform::Error{QStringLiteral("cannot write the settings of the bus")};
    settings.close();
    const auto started = m_bus.start(QStringLiteral("dbus-daemon"),
                                     {QStringLiteral("--config-file=") + settings.fileName(),
                                      QStringLiteral("--print-address=1"),
                                      QStringLiteral("--nofork"),
                                      QStringLiteral("--nopidfile")},
                                     environment());
    if (!started)
        return started;
    while (!m_bus.process().canReadLine() && m_bus.process().waitForReadyRead(kStartMs)) {
    }
    // Without the bus's identity, which the next one at this place does not have.
    m_address = QString::fromUtf8(m_bus.process().readLine().trimmed()).section(u',', 0, 0);
    if (m_address.isEmpty())
        return platform::Error{QStringLiteral("the bus has not named its address")};
    return platform::success();
}

platform::Outcome Keyring::startSignedIn(const QProcessEnvironment& desktop)
{
    m_address = desktop.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    if (const auto created = m_home.create(); !created)
        return created;
    if (const auto started = startUnlocked(); !started)
        return started;
    if (storeSession("a token of an earlier run"))
        return platform::success();
    return platform::Error{QStringLiteral("the keyring does not keep the session")};
}

void Keyring::killBus()
{
    m_bus.kill();
}

platform::Outcome Keyring::startUnlocked()
{
    if (const auto started = startDaemon(); !started)
        return started;
    return unlock();
}

platform::Outcome Keyring::startLocked()
{
    if (const auto started = startDaemon(); !started)
        return started;
    return lock();
}

platform::Outcome Keyring::startDaemon()
{
    const auto started = m_daemon.start(QStringLiteral("gnome-keyring-daemon"),
                                        {QStringLiteral("--unlock"),
                                         QStringLiteral("--components=secrets"),
                                         QStringLiteral("--foreground")},
                                        environment());
    if (!started)
        return started;
    m_daemon.process().write(kPassword);
    m_daemon.process().closeWriteChannel();
    if (!QTest::qWaitFor([this] { return KeyringCaller(m_address).hasLogin(); }, kStartMs))
        return platform::Error{QStringLiteral("the keyring does not come up")};
    return platform::success();
}

platform::Outcome Keyring::lock()
{
    const char* const paths[] = {kLogin};
    return made(KeyringCaller(m_address).call("org.freedesktop.Secret.Service",
                                              "Lock",
                                              g_variant_new("(@ao)", g_variant_new_objv(paths, 1))),
                "lock");
}

platform::Outcome Keyring::unlock()
{
    const KeyringCaller caller(m_address);
    GVariant* const session = caller.call("org.freedesktop.Secret.Service",
                                          "OpenSession",
                                          g_variant_new("(sv)", "plain", g_variant_new_string("")));
    if (session == nullptr)
        return platform::Error{QStringLiteral("the keyring opens no session")};
    const char* path = nullptr;
    g_variant_get(session, "(v&o)", nullptr, &path);
    GVariant* const secret = g_variant_new(
        "(o@ay@ays)",
        path,
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, "", 0, 1),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, kPassword, qstrlen(kPassword), 1),
        "text/plain");
    GVariant* const reply = caller.call("org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface",
                                        "UnlockWithMasterPassword",
                                        g_variant_new("(o@(oayays))", kLogin, secret));
    g_variant_unref(session);
    return made(reply, "unlock");
}

void Keyring::pause()
{
    ::kill(static_cast<pid_t>(m_daemon.pid()), SIGSTOP);
}

void Keyring::resume()
{
    ::kill(static_cast<pid_t>(m_daemon.pid()), SIGCONT);
}

void Keyring::kill()
{
    m_daemon.kill();
}

QProcessEnvironment Keyring::environment() const
{
    QProcessEnvironment environment = m_home.environment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    environment.remove(QStringLiteral("GNOME_KEYRING_CONTROL"));
    return environment;
}

QString Keyring::search(const QString& account) const
{
    return QString::fromUtf8(secretTool(
        {QStringLiteral("search"), QStringLiteral("--all"), QStringLiteral("account"), account}));
}

QByteArray Keyring::lookup(const QString& account) const
{
    return secretTool({QStringLiteral("lookup"), QStringLiteral("account"), account});
}

bool Keyring::store(const QString& collection,
                    const QString& account,
                    const QByteArray& secret,
                    const QString& service) const
{
    const QByteArray complaint = secretTool({QStringLiteral("store"),
                                             QStringLiteral("--label=test"),
                                             QStringLiteral("--collection=") + collection,
                                             QStringLiteral("service"),
                                             service,
                                             QStringLiteral("account"),
                                             account,
                                             QStringLiteral("xdg:schema"),
                                             QStringLiteral("com.velomira.UsageMonitor")},
                                            secret);
    return complaint.isEmpty();
}

bool Keyring::storeSession(const QByteArray& token) const
{
    return store(QStringLiteral("login"),
                 QStringLiteral("authToken"),
                 token,
                 QStringLiteral("com.velomira.UsageMonitor"));
}

QByteArray Keyring::secretTool(const QStringList& arguments, const QByteArray& input) const
{
    QProcess tool; // ends with this function at the latest
    tool.setProcessEnvironment(environment());
    tool.setProcessChannelMode(QProcess::MergedChannels);
    tool.start(QStringLiteral("secret-tool"), arguments);
    tool.write(input);
    tool.closeWriteChannel();
    tool.waitForFinished(kStartMs);
    return tool.readAll();
}

} // namespace support
