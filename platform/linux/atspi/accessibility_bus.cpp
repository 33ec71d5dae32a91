// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessibility_bus.h"

#include "platform/linux/dbus/bus_address.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kFirstRetry = std::chrono::seconds(1);
constexpr std::chrono::milliseconds kLongestRetry = std::chrono::seconds(30);
/// The address is told by who may have to start the bus first.
constexpr std::chrono::milliseconds kAddressLimit = std::chrono::seconds(10);

const QString kAccessible = QStringLiteral("org.a11y.atspi.Accessible");

/// Whether the address leads to a socket on this machine: others may start programs.
bool isLocal(const QString& address)
{
    return std::ranges::all_of(address.split(u';'), [](const QString& one) {
        return one.startsWith(QLatin1StringView("unix:"));
    });
}

} // namespace

AccessibilityBus::AccessibilityBus(const QDBusConnection& sessionBus)
    : m_status(sessionBus)
    , m_sessionBus(sessionBus)
    , m_delay(kFirstRetry)
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &AccessibilityBus::askAddress);
    connect(&m_status, &AccessibilityStatus::changed, this, &AccessibilityBus::follow);
    connect(&m_status, &AccessibilityStatus::ownerChanged, this, [this] {
        m_delay = kFirstRetry;
        if (!isOn())
            follow();
    });
}

AccessibilityBus::~AccessibilityBus()
{
    drop();
}

bool AccessibilityBus::isAsking() const
{
    return !isOn() &&
           (m_status.state() == AccessibilityStatus::State::Asking || m_address != nullptr);
}

QDBusConnection AccessibilityBus::connection() const
{
    return m_bus.value_or(QDBusConnection(QString()));
}

void AccessibilityBus::follow()
{
    m_retry.stop();
    m_delay = kFirstRetry;
    if (m_status.state() == AccessibilityStatus::State::On) {
        if (!isOn())
            askAddress();
        return;
    }
    drop();
    Q_EMIT changed();
}

void AccessibilityBus::askAddress()
{
    if (m_status.state() != AccessibilityStatus::State::On)
        return;
    QDBusMessage question = QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"),
                                                           QStringLiteral("/org/a11y/bus"),
                                                           QStringLiteral("org.a11y.Bus"),
                                                           QStringLiteral("GetAddress"));
    question.setAutoStartService(false);
    m_address = std::make_unique<QObject>();
    auto* const watcher = new QDBusPendingCallWatcher(
        m_sessionBus.asyncCall(question, static_cast<int>(kAddressLimit.count())), m_address.get());
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* answer) {
            const QDBusPendingReply<QString> reply = *answer;
            const QString address = reply.isError() ? QString() : reply.value();
            m_address.release()->deleteLater(); // it owns what calls
            connectTo(address);
        });
}

void AccessibilityBus::connectTo(const QString& address)
{
    // Connecting waits for ever for a bus that hangs.
    if (address.isEmpty() || !isLocal(address) || dbus::isSilent(address, kLimit)) {
        tryLater();
        return;
    }
    const QString name = QUuid::createUuid().toString();
    QDBusConnection bus = QDBusConnection::connectToBus(address, name);
    if (!bus.isConnected()) {
        QDBusConnection::disconnectFromBus(name);
        tryLater();
        return;
    }
    bus.connect(QString(),
                QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"),
                QStringLiteral("Disconnected"),
                this,
                SLOT(lose()));
    m_delay = kFirstRetry;
    m_bus = bus;
    m_calls = std::make_unique<QObject>();
    m_open = 0;
    Q_EMIT changed();
}

void AccessibilityBus::lose()
{
    drop();
    tryLater();
}

void AccessibilityBus::drop()
{
    m_address.reset();
    if (m_calls)
        m_calls.release()->deleteLater(); // one of them may be what calls
    if (!m_bus)
        return;
    const QString name = m_bus->name();
    m_bus.reset();
    QDBusConnection::disconnectFromBus(name);
}

void AccessibilityBus::tryLater()
{
    m_retry.start(m_delay);
    m_delay = std::min(m_delay * 2, kLongestRetry);
    Q_EMIT changed();
}

bool AccessibilityBus::call(const AccessibleObject& object,
                            const QString& interface,
                            const QString& method,
                            const QVariantList& arguments,
                            const QObject* asker,
                            Answer answer)
{
    if (!m_bus || m_open >= kMostCalls)
        return false;
    QDBusMessage question =
        QDBusMessage::createMethodCall(object.service, object.path, interface, method);
    question.setArguments(arguments);
    question.setAutoStartService(false);
    auto* const watcher = new QDBusPendingCallWatcher(
        m_bus->asyncCall(question, static_cast<int>(kLimit.count())), m_calls.get());
    ++m_open;
    const QObject* const connection = m_calls.get();
    connect(watcher,
            &QDBusPendingCallWatcher::finished,
            this,
            [this, connection, asker = QPointer<const QObject>(asker), answer = std::move(answer)](
                QDBusPendingCallWatcher* finished) {
                if (m_calls.get() != connection)
                    return;
                --m_open;
                finished->deleteLater();
                if (asker)
                    answer(finished->reply());
            });
    return true;
}

bool AccessibilityBus::getText(const AccessibleObject& object,
                               const QString& property,
                               const QObject* asker,
                               Answer answer)
{
    return call(object,
                QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Get"),
                {kAccessible, property},
                asker,
                std::move(answer));
}

bool AccessibilityBus::ask(const AccessibleObject& object,
                           const QString& method,
                           const QObject* asker,
                           Answer answer)
{
    return call(object, kAccessible, method, {}, asker, std::move(answer));
}

bool AccessibilityBus::askForPrograms(const QObject* asker, Answer answer)
{
    const AccessibleObject registry{.service = QStringLiteral("org.a11y.atspi.Registry"),
                                    .path = kRootPath};
    return ask(registry, QStringLiteral("GetChildren"), asker, std::move(answer));
}

bool AccessibilityBus::askProcess(const QString& service,
                                  const QObject* asker,
                                  const Answer& answer)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    return call({.service = bus, .path = QStringLiteral("/org/freedesktop/DBus")},
                bus,
                QStringLiteral("GetConnectionUnixProcessID"),
                {service},
                asker,
                answer);
}

} // namespace platform::atspi
