// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessibility_bus.h"

#include "backends/dbus/bus_address.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace platform::atspi {

Q_LOGGING_CATEGORY(lcAccessibility, "velomira.accessibility", QtCriticalMsg)

namespace {

constexpr std::chrono::milliseconds kFirstRetry = std::chrono::seconds(1);
constexpr std::chrono::milliseconds kLongestRetry = std::chrono::seconds(30);
constexpr std::chrono::milliseconds kStatusLimit = std::chrono::seconds(5);
/// The address is told by who may have to start the bus first.
constexpr std::chrono::milliseconds kAddressLimit = std::chrono::seconds(10);

const QString kService = QStringLiteral("org.a11y.Bus");
const QString kPath = QStringLiteral("/org/a11y/bus");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

QDBusMessage whetherEnabled()
{
    QDBusMessage question =
        QDBusMessage::createMethodCall(kService, kPath, kProperties, QStringLiteral("Get"));
    question.setArguments({QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")});
    return question;
}

/// Whether the address leads to a socket on this machine: others may start programs.
bool isLocal(const QString& address)
{
    return std::ranges::all_of(address.split(u';'), [](const QString& one) {
        return one.startsWith(QLatin1StringView("unix:"));
    });
}

QDBusMessage noAnswer()
{
    return QDBusMessage::createError(QDBusError::NoReply, QString());
}

} // namespace

PendingAnswer PendingAnswer::none()
{
    auto state = std::make_shared<State>();
    state->reply = noAnswer();
    return PendingAnswer(std::move(state));
}

QDBusMessage PendingAnswer::await_resume() const
{
    return m_state->reply.value_or(noAnswer());
}

PendingAnswer OpenQuestions::send(const QDBusConnection& to,
                                  QDBusMessage question,
                                  std::chrono::milliseconds limit)
{
    question.setAutoStartService(false);
    auto* const watcher =
        new QDBusPendingCallWatcher(to.asyncCall(question, static_cast<int>(limit.count())), this);
    auto state = std::make_shared<PendingAnswer::State>();
    m_open.insert(watcher, state);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        finish(watcher, watcher->reply());
    });
    return PendingAnswer(std::move(state));
}

void OpenQuestions::giveUp()
{
    const QList<QDBusPendingCallWatcher*> open = m_open.keys();
    for (QDBusPendingCallWatcher* watcher : open)
        finish(watcher, noAnswer());
}

void OpenQuestions::finish(QDBusPendingCallWatcher* watcher, const QDBusMessage& reply)
{
    const std::shared_ptr<PendingAnswer::State> state = m_open.take(watcher);
    if (!state)
        return;
    watcher->deleteLater(); // it may be what calls
    state->reply = reply;
    if (state->waiting)
        state->waiting.resume();
}

AccessibilityBus::AccessibilityBus(QDBusConnection sessionBus)
    : m_sessionBus(std::move(sessionBus))
    , m_delay(kFirstRetry)
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &AccessibilityBus::look);
    if (!m_sessionBus.isConnected()) {
        m_isKnown = true;
        return;
    }
    connect(&m_owner, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        // The new one may know another address.
        m_delay = kFirstRetry;
        m_retry.stop();
        look();
    });
    m_owner.setConnection(m_sessionBus);
    m_owner.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    m_owner.addWatchedService(kService);
    // From any sender: Qt would wait for the bus to tell who a name belongs to, and a signal from a
    // wrong one does no more than make us ask.
    m_sessionBus.connect(
        QString(), kPath, kProperties, QStringLiteral("PropertiesChanged"), this, SLOT(look()));
    look();
}

AccessibilityBus::~AccessibilityBus()
{
    m_isThere.reset();
    m_sessionQuestions.giveUp();
    drop();
}

QDBusConnection AccessibilityBus::connection() const
{
    return m_bus.value_or(QDBusConnection(QString()));
}

/// What was told may no longer hold.
void AccessibilityBus::look()
{
    m_shallLook = true;
    if (!m_isFollowing)
        follow();
}

QCoro::Task<> AccessibilityBus::follow()
{
    const std::weak_ptr<const bool> isThere = m_isThere;
    m_isFollowing = true;
    while (std::exchange(m_shallLook, false)) {
        PendingAnswer enabled =
            m_sessionQuestions.send(m_sessionBus, whetherEnabled(), kStatusLimit);
        const QDBusPendingReply<QDBusVariant> isEnabled = co_await enabled;
        if (isThere.expired())
            co_return;
        if (isEnabled.isError() || !isEnabled.value().variant().toBool()) {
            m_retry.stop();
            m_delay = kFirstRetry;
            const bool isNew = isOn() || !m_isKnown;
            m_isKnown = true;
            drop();
            if (isNew) {
                qCInfo(lcAccessibility, "accessibility is off");
                Q_EMIT changed();
            }
            continue;
        }
        if (isOn() || m_retry.isActive())
            continue;
        PendingAnswer told = m_sessionQuestions.send(
            m_sessionBus,
            QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("GetAddress")),
            kAddressLimit);
        const QDBusPendingReply<QString> address = co_await told;
        if (isThere.expired())
            co_return;
        connectTo(address.isError() ? QString() : address.value());
    }
    m_isFollowing = false;
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
    m_isKnown = true;
    qCInfo(lcAccessibility, "accessibility is on");
    Q_EMIT changed();
}

void AccessibilityBus::lose()
{
    drop();
    tryLater();
}

void AccessibilityBus::drop()
{
    if (!m_bus)
        return;
    const QString name = m_bus->name();
    m_bus.reset();
    QDBusConnection::disconnectFromBus(name);
    m_questions.giveUp(); // whoever waits finds it off
}

void AccessibilityBus::tryLater()
{
    qCWarning(lcAccessibility) << "the bus cannot be used; next attempt in" << m_delay.count()
                               << "ms";
    m_retry.start(m_delay);
    m_delay = std::min(m_delay * 2, kLongestRetry);
    m_isKnown = true;
    Q_EMIT changed();
}

PendingAnswer AccessibilityBus::call(const AccessibleObject& object,
                                     const QString& interface,
                                     const QString& method,
                                     const QVariantList& arguments)
{
    if (!m_bus || m_questions.count() >= kMostCalls)
        return PendingAnswer::none();
    QDBusMessage question =
        QDBusMessage::createMethodCall(object.service, object.path, interface, method);
    question.setArguments(arguments);
    return m_questions.send(*m_bus, question, kLimit);
}

} // namespace platform::atspi
