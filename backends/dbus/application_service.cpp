// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/application_service.h"

#include "backends/dbus/ask.h"
#include "base/build_config.h"

#include <QDBusError>
#include <QDeadlineTimer>
#include <QMetaType>
#include <QStringList>
#include <QVariantList>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <thread>
#include <utility>

namespace platform::dbus {

namespace {

/// Longer ones are none of a desktop's; an X server or a compositor would be told them.
constexpr qsizetype kLongestToken = 4096;

constexpr const char* kTokenKeys[] = {"activation-token", "desktop-startup-id"};
constexpr const char* kTokenVariables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

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

using std::chrono::milliseconds;

constexpr milliseconds kTimeForTheBus(500); // to answer for itself when time is up
constexpr milliseconds kBetweenAttempts(5);

milliseconds left(const QDeadlineTimer& deadline)
{
    return std::max(milliseconds(1), milliseconds(deadline.remainingTime()));
}

/// Whether the answer says that the owner of the name ended, or is about to, before it took the
/// request. A time-out has the same error as an end without an answer.
bool saysOwnerHasGone(const QDBusMessage& reply, const QDeadlineTimer& deadline)
{
    const QDBusError error(reply);
    return isAbsence(error) || (error.type() == QDBusError::NoReply && !deadline.hasExpired());
}

/// "the instance that runs (process 4711)"
QString runningInstance(const QDBusConnection& bus)
{
    const QDBusMessage reply = bus.call(
        processOf(applicationName()), QDBus::Block, static_cast<int>(kTimeForTheBus.count()));
    QString text = QStringLiteral("the instance that runs");
    if (reply.type() != QDBusMessage::ReplyMessage)
        return text;
    return text + QStringLiteral(" (process %1)").arg(reply.arguments().value(0).toUInt());
}

QString failure(const QDBusConnection& bus, const QDBusMessage& reply)
{
    const bool hangs = QDBusError(reply).type() == QDBusError::NoReply;
    return runningInstance(bus) + (hangs ? QStringLiteral(" does not answer; end it and try again")
                                         : QStringLiteral(" refuses: ") + reply.errorMessage());
}

/// What this process was started for is its own to do.
void keepOwn(ApplicationService& service, const std::optional<ApplicationCall>& request)
{
    if (!request || request->kind == ApplicationCall::Kind::Activate)
        return;
    ApplicationCall own = *request;
    own.token = tokenIn(platformDataOfThisProcess());
    service.askFirst(own);
}

} // namespace

QString applicationName()
{
    return QString::fromLatin1(kBundleIdentifier);
}

QString applicationPath()
{
    return QLatin1Char('/') + applicationName()
                                  .replace(QLatin1Char('.'), QLatin1Char('/'))
                                  .replace(QLatin1Char('-'), QLatin1Char('_'));
}

ActivationToken tokenIn(const QVariantMap& platformData)
{
    for (const char* key : kTokenKeys) {
        const QVariant value = platformData.value(QLatin1StringView(key));
        if (value.metaType() != QMetaType::fromType<QString>())
            continue;
        const QString text = value.toString();
        if (!text.isEmpty() && text.size() <= kLongestToken)
            return {text};
    }
    return {};
}

QVariantMap platformDataOfThisProcess()
{
    QVariantMap data;
    for (std::size_t i = 0; i < std::size(kTokenKeys); ++i) {
        const QString token = qEnvironmentVariable(kTokenVariables[i]);
        if (!token.isEmpty() && token.size() <= kLongestToken)
            data.insert(QLatin1StringView(kTokenKeys[i]), token);
    }
    return data;
}

QDBusMessage messageFor(const ApplicationCall& call, const QVariantMap& platformData)
{
    const auto message = [](const char* method) {
        QDBusMessage made = QDBusMessage::createMethodCall(applicationName(),
                                                           applicationPath(),
                                                           QLatin1StringView(kApplicationInterface),
                                                           QLatin1StringView(method));
        made.setAutoStartService(false);
        return made;
    };
    switch (call.kind) {
    case ApplicationCall::Kind::Open:
        return message("Open") << QStringList(call.text) << platformData;
    case ApplicationCall::Kind::Action:
    case ApplicationCall::Kind::Task:
        return message("ActivateAction") << call.text << QVariantList() << platformData;
    case ApplicationCall::Kind::Activate:
        break;
    }
    return message("Activate") << platformData;
}

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
    connectToLoss(m_bus, this, SIGNAL(connectionLost()));
    return m_bus.isConnected() &&
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

StartResult claimOrHandOver(ApplicationService& service,
                            const std::optional<ApplicationCall>& request,
                            milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    for (;;) {
        switch (service.claim(std::max(left(deadline), kTimeForTheBus))) {
        case ApplicationService::Claim::Primary:
            keepOwn(service, request);
            return {.kind = StartResult::Kind::First, .text = {}};
        case ApplicationService::Claim::NoBus:
            keepOwn(service, request);
            return {.kind = StartResult::Kind::Alone, .text = service.problem()};
        case ApplicationService::Claim::AnotherRuns:
            break;
        }
        if (!request)
            return {.kind = StartResult::Kind::HandedOver, .text = {}};
        const QDBusMessage reply =
            service.ask(messageFor(*request, platformDataOfThisProcess()), left(deadline));
        if (reply.type() == QDBusMessage::ReplyMessage)
            return {.kind = StartResult::Kind::HandedOver, .text = {}};
        if (!saysOwnerHasGone(reply, deadline) || deadline.hasExpired())
            return {.kind = StartResult::Kind::Failed,
                    .text = failure(service.connection(), reply)};
        std::this_thread::sleep_for(kBetweenAttempts);
    }
}

std::optional<Outcome>
askRunningInstance(const QDBusConnection& bus, QLatin1StringView task, milliseconds limit)
{
    const ApplicationCall call{.kind = ApplicationCall::Kind::Task, .text = task, .token = {}};
    const QDeadlineTimer deadline(limit);
    while (bus.isConnected()) {
        const QDBusMessage reply =
            bus.call(messageFor(call, {}), QDBus::Block, static_cast<int>(left(deadline).count()));
        if (reply.type() == QDBusMessage::ReplyMessage)
            return success();
        if (!saysOwnerHasGone(reply, deadline))
            return Error{failure(bus, reply)};
        if (QDBusError(reply).type() != QDBusError::NoReply)
            return std::nullopt;
        // It ended before it had answered; perhaps there is another one by now.
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    return std::nullopt;
}

} // namespace platform::dbus
