// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/private_bus.h"

#include <QDir>
#include <QFile>

#include <csignal>

namespace support {

namespace {

constexpr int kStartMs = 20000; // on a loaded machine; usual is a fifth of a second

// The limits are those of a usual session bus.
constexpr const char* kSettings = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=%1/runtime/bus</listen>
  <servicedir>%1/share/dbus-1/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">1000000000</limit>
  <limit name="max_replies_per_connection">50000</limit>
</busconfig>
)";

struct Folder
{
    const char* variable;
    const char* name;
};

constexpr Folder kFolders[]{{"HOME", "."},
                            {"XDG_CONFIG_HOME", "config"},
                            {"XDG_DATA_HOME", "share"},
                            {"XDG_CACHE_HOME", "cache"},
                            {"XDG_RUNTIME_DIR", "runtime"}};

} // namespace

PrivateBus::PrivateBus() = default;

PrivateBus::~PrivateBus()
{
    if (m_bus.isRunning())
        resume();
    // A bus that ends in its own time ends what it started; so do the programs that lose it.
    m_bus.stop();
}

QStringList PrivateBus::programs()
{
    return {QStringLiteral("dbus-daemon"), QStringLiteral("gdbus")};
}

platform::Outcome PrivateBus::makeHome()
{
    for (const Folder& folder : kFolders) {
        const QString path = m_home.filePath(QString::fromLatin1(folder.name));
        if (!QDir().mkpath(path) ||
            !QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
            return platform::Error{QStringLiteral("cannot create %1").arg(path)};
    }
    if (!QDir().mkpath(dataHome() + QStringLiteral("/dbus-1/services")))
        return platform::Error{QStringLiteral("cannot create the folder of the services")};
    QFile settings(m_home.filePath(QStringLiteral("bus.conf")));
    const QByteArray text = QString::fromLatin1(kSettings).arg(m_home.path()).toUtf8();
    if (!settings.open(QIODevice::WriteOnly) || settings.write(text) != text.size())
        return platform::Error{QStringLiteral("cannot write the settings of the bus")};
    return platform::success();
}

platform::Outcome PrivateBus::start()
{
    if (const auto made = makeHome(); !made)
        return made;
    const auto started =
        m_bus.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--config-file=") + m_home.filePath(QStringLiteral("bus.conf")),
                     QStringLiteral("--print-address=1"),
                     QStringLiteral("--nofork"),
                     QStringLiteral("--nopidfile")},
                    environment());
    if (!started)
        return started;
    while (!m_bus.process().canReadLine() && m_bus.process().waitForReadyRead(kStartMs)) {
    }
    if (m_bus.process().readLine().trimmed().isEmpty())
        return platform::Error{QStringLiteral("the bus does not come up")};
    return platform::success();
}

void PrivateBus::kill()
{
    m_bus.kill();
}

void PrivateBus::pause()
{
    ::kill(static_cast<pid_t>(m_bus.pid()), SIGSTOP);
}

void PrivateBus::resume()
{
    ::kill(static_cast<pid_t>(m_bus.pid()), SIGCONT);
}

QString PrivateBus::address() const
{
    return QStringLiteral("unix:path=") + m_home.filePath(QStringLiteral("runtime/bus"));
}

QString PrivateBus::home() const
{
    return m_home.path();
}

QString PrivateBus::dataHome() const
{
    return m_home.filePath(QStringLiteral("share"));
}

QProcessEnvironment PrivateBus::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const Folder& folder : kFolders)
        environment.insert(QString::fromLatin1(folder.variable),
                           QDir::cleanPath(m_home.filePath(QString::fromLatin1(folder.name))));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address());
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
        environment.remove(QString::fromLatin1(name));
    environment.insert(m_variables);
    return environment;
}

void PrivateBus::set(const char* variable, const QString& value)
{
    m_variables.insert(QString::fromLatin1(variable), value);
}

QString PrivateBus::call(const QString& name,
                         const QString& path,
                         const QString& method,
                         const QStringList& arguments) const
{
    QProcess gdbus; // ends with this function at the latest
    gdbus.setProcessEnvironment(environment());
    gdbus.setProcessChannelMode(QProcess::MergedChannels);
    gdbus.start(QStringLiteral("gdbus"),
                QStringList{QStringLiteral("call"),
                            QStringLiteral("--session"),
                            QStringLiteral("--dest"),
                            name,
                            QStringLiteral("--object-path"),
                            path,
                            QStringLiteral("--method"),
                            method} +
                    arguments);
    gdbus.waitForFinished(kStartMs);
    return QString::fromUtf8(gdbus.readAll()).trimmed();
}

} // namespace support
