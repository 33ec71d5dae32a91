// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/forwarding.h"

#include "backends/dbus/application_service.h"
#include "backends/dbus/ask.h"

#include <QDBusError>
#include <QDeadlineTimer>

#include <algorithm>
#include <thread>

namespace platform::dbus {

namespace {

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
    return error.type() == QDBusError::ServiceUnknown ||
           error.name() == QLatin1StringView("org.freedesktop.DBus.Error.NameHasNoOwner") ||
           (error.type() == QDBusError::NoReply && !deadline.hasExpired());
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
