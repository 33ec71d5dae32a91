// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/application_service.h"

#include "backends/dbus/ask.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <utility>

namespace platform::dbus {

namespace {

/// So many requests nobody makes by hand; those of a program that runs wild end here.
constexpr qsizetype kMostWaiting = 10'000;

// Ours have some twenty characters; what is longer is not for this program, and not worth a line.
constexpr qsizetype kLongestAddress = 8192;
constexpr qsizetype kLongestAction = 128;
constexpr qsizetype kMostAddresses = 64;

// Of RequestName (D-Bus Specification, "Message Bus Messages").
constexpr uint kDoNotQueue = 0x4;
constexpr uint kPrimaryOwner = 1;
constexpr uint kAlreadyOwner = 4;

bool isTask(const QString& name)
{
    using namespace tasks;
    const std::array all{kSignOut, kSignInBegins, kSignInSaved, kSignInFailed};
    return std::ranges::find(all, name) != all.end();
}

/// Qt keeps connections by name for the whole process.
QString newConnectionName()
{
    static std::atomic<int> count = 0;
    return QStringLiteral("application-%1").arg(++count);
}

/// A connection to be made. The first one starts Qt's thread for all of them, which must not take
/// the signals that end the process: whoever wants them may not have blocked them yet.
QDBusConnection unconnected(const QString& name)
{
    sigset_t all;
    sigset_t previous;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    QDBusConnection connection(name);
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return connection;
}

} // namespace

ApplicationService::ApplicationService(QString address)
    : m_address(std::move(address))
    , m_connectionName(newConnectionName())
    , m_bus(unconnected(m_connectionName))
{
    connect(this,
            &ApplicationService::callsWait,
            this,
            &ApplicationService::tellWaiting,
            Qt::QueuedConnection);
}

ApplicationService::~ApplicationService()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

bool ApplicationService::connectToBus(std::chrono::milliseconds limit)
{
    if (m_address.isEmpty()) {
        m_problem = QStringLiteral("there is no session bus");
        return false;
    }
    if (m_bus.isConnected())
        return true;
    if (isSilent(m_address, limit)) {
        m_problem = QStringLiteral("the session bus does not answer");
        return false;
    }
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_bus = QDBusConnection::connectToBus(m_address, m_connectionName);
    m_problem = m_bus.lastError().message();
    return m_bus.isConnected() &&
           m_bus.connect(QString(),
                         QStringLiteral("/org/freedesktop/DBus/Local"),
                         QStringLiteral("org.freedesktop.DBus.Local"),
                         QStringLiteral("Disconnected"),
                         this,
                         SIGNAL(connectionLost())) &&
           m_bus.registerObject(applicationPath(), this, QDBusConnection::ExportScriptableSlots);
}

ApplicationService::Claim ApplicationService::claim(std::chrono::milliseconds limit)
{
    m_problem.clear();
    if (!connectToBus(limit))
        return Claim::NoBus;
    const QDBusMessage reply =
        ask(busCall(QLatin1StringView("RequestName"), {applicationName(), kDoNotQueue}), limit);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        m_problem = reply.errorMessage();
        return Claim::NoBus;
    }
    const uint code = reply.arguments().value(0).toUInt();
    return code == kPrimaryOwner || code == kAlreadyOwner ? Claim::Primary : Claim::AnotherRuns;
}

QDBusMessage ApplicationService::ask(const QDBusMessage& message, std::chrono::milliseconds limit)
{
    return m_bus.call(message, QDBus::Block, static_cast<int>(limit.count()));
}

void ApplicationService::askFirst(const ApplicationCall& call)
{
    m_waiting.prepend(call);
    if (m_hasBegun)
        Q_EMIT callsWait();
}

void ApplicationService::begin()
{
    m_hasBegun = true;
    Q_EMIT callsWait();
}

void ApplicationService::release()
{
    m_isEnding = true;
    m_waiting.clear();
    if (m_bus.isConnected())
        m_bus.send(busCall(QLatin1StringView("ReleaseName"), {applicationName()}));
}

void ApplicationService::Activate(const QVariantMap& platformData, const QDBusMessage& message)
{
    take({{.kind = ApplicationCall::Kind::Activate, .text = {}, .token = tokenIn(platformData)}},
         message);
}

void ApplicationService::Open(const QStringList& uris,
                              const QVariantMap& platformData,
                              const QDBusMessage& message)
{
    const auto isTooLong = [](const QString& uri) {
        return uri.size() > kLongestAddress;
    };
    if (uris.size() > kMostAddresses || std::ranges::any_of(uris, isTooLong)) {
        refuse(message, QDBusError::InvalidArgs, QStringLiteral("too many or too long"));
        return;
    }
    QList<ApplicationCall> calls;
    for (const QString& uri : uris)
        calls.append(
            {.kind = ApplicationCall::Kind::Open, .text = uri, .token = tokenIn(platformData)});
    take(calls, message);
}

void ApplicationService::ActivateAction(const QString& name,
                                        const QVariantList& /*parameter*/,
                                        const QVariantMap& platformData,
                                        const QDBusMessage& message)
{
    if (name.size() > kLongestAction) {
        refuse(message, QDBusError::InvalidArgs, QStringLiteral("the name is too long"));
        return;
    }
    ApplicationCall call{
        .kind = ApplicationCall::Kind::Action, .text = name, .token = tokenIn(platformData)};
    if (isTask(name)) {
        call.kind = ApplicationCall::Kind::Task;
        call.answer = answerTo(message);
    }
    take({call}, message);
}

void ApplicationService::take(const QList<ApplicationCall>& calls, const QDBusMessage& message)
{
    // What the bus itself says of a name without owner.
    if (m_isEnding) {
        refuse(message, QDBusError::ServiceUnknown, QStringLiteral("the program ends"));
        return;
    }
    if (m_waiting.size() + calls.size() > kMostWaiting) {
        refuse(message, QDBusError::LimitsExceeded, QStringLiteral("too many requests"));
        return;
    }
    // Told later, so that the answer does not wait until a window is built.
    m_waiting += calls;
    if (m_hasBegun)
        Q_EMIT callsWait();
}

ApplicationRequests::Answer ApplicationService::answerTo(const QDBusMessage& message) const
{
    message.setDelayedReply(true);
    const auto isAnswered = std::make_shared<bool>(false);
    return [bus = m_bus, message, isAnswered](const Outcome& outcome) {
        if (std::exchange(*isAnswered, true))
            return;
        bus.send(outcome ? message.createReply()
                         : message.createErrorReply(QDBusError::Failed, outcome.error().text));
    };
}

void ApplicationService::refuse(const QDBusMessage& message,
                                QDBusError::ErrorType type,
                                const QString& text)
{
    qCInfo(lcBus) << "a call is refused:" << text;
    message.setDelayedReply(true);
    m_bus.send(message.createErrorReply(type, text));
}

void ApplicationService::tellWaiting()
{
    while (!m_waiting.isEmpty())
        tell(m_waiting.takeFirst());
}

void ApplicationService::tell(const ApplicationCall& call)
{
    switch (call.kind) {
    case ApplicationCall::Kind::Activate:
        Q_EMIT activated(call.token);
        break;
    case ApplicationCall::Kind::Open:
        Q_EMIT urlOpened(call.text, call.token);
        break;
    case ApplicationCall::Kind::Action:
        Q_EMIT actionRequested(call.text, call.token);
        break;
    case ApplicationCall::Kind::Task:
        Q_EMIT taskRequested(call.text, call.answer);
        break;
    }
}

} // namespace platform::dbus
