// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/accessibility.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTest>
#include <QUuid>

#include <csignal>

namespace support {

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kAnswerMs = 20000;
const QString kLauncher = QStringLiteral("/usr/libexec/at-spi-bus-launcher");
const QString kService = QStringLiteral("org.a11y.Bus");
const QString kPath = QStringLiteral("/org/a11y/bus");

QDBusMessage callOf(const QString& interface, const QString& method, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return message;
}

} // namespace

Accessibility::Accessibility() = default;

Accessibility::~Accessibility()
{
    killService();
    if (m_connection)
        QDBusConnection::disconnectFromBus(m_connection->name());
}

QStringList Accessibility::programs()
{
    return {kLauncher, QStringLiteral("dbus-daemon")};
}

platform::Outcome Accessibility::startBus(const QProcessEnvironment& environment)
{
    m_environment = environment;
    const QString socket =
        environment.value(QStringLiteral("XDG_RUNTIME_DIR")) + QStringLiteral("/bus");
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                         QStringLiteral("unix:path=") + socket);
    // What is switched on here stays in this process.
    m_environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    if (const auto started = m_bus.start(socket, m_environment); !started)
        return started;
    m_connection = QDBusConnection::connectToBus(m_bus.address(), QUuid::createUuid().toString());
    if (!m_connection->isConnected())
        return platform::Error{QStringLiteral("cannot connect to ") + m_bus.address()};
    return platform::success();
}

platform::Outcome Accessibility::startService()
{
    if (const auto started = m_service.start(kLauncher, {}, m_environment); !started)
        return started;
    if (!QTest::qWaitFor([this] { return hasService(); }, kPatienceMs))
        return platform::Error{QStringLiteral("the service for accessibility does not come up")};
    return platform::success();
}

void Accessibility::killService()
{
    // Its bus does not outlive it for long, but for longer than a test wants to wait.
    m_service.stop();
}

platform::Outcome Accessibility::killAccessibilityBus()
{
    const QDBusConnection bus =
        QDBusConnection::connectToBus(address(), QUuid::createUuid().toString());
    const QDBusMessage question =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                       QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"),
                                       QStringLiteral("GetConnectionUnixProcessID"))
        << QStringLiteral("org.freedesktop.DBus");
    const auto process = bus.call(question, QDBus::Block, kAnswerMs).arguments().value(0).toUInt();
    QDBusConnection::disconnectFromBus(bus.name());
    if (process == 0 || ::kill(static_cast<pid_t>(process), SIGKILL) != 0)
        return platform::Error{QStringLiteral("cannot end the accessibility bus")};
    return platform::success();
}

bool Accessibility::hasService() const
{
    return m_connection->interface()->isServiceRegistered(kService).value();
}

QString Accessibility::address() const
{
    return m_connection
        ->call(callOf(kService, QStringLiteral("GetAddress"), {}), QDBus::Block, kAnswerMs)
        .arguments()
        .value(0)
        .toString();
}

platform::Outcome Accessibility::setEnabled(bool isEnabled)
{
    const QDBusMessage reply =
        m_connection->call(callOf(QStringLiteral("org.freedesktop.DBus.Properties"),
                                  QStringLiteral("Set"),
                                  {QStringLiteral("org.a11y.Status"),
                                   QStringLiteral("IsEnabled"),
                                   QVariant::fromValue(QDBusVariant(isEnabled))}),
                           QDBus::Block,
                           kAnswerMs);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return platform::Error{reply.errorMessage()};
    return platform::success();
}

} // namespace support
