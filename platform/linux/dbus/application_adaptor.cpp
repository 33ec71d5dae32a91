// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/dbus/application_adaptor.h"

#include "platform/linux/dbus/application_service.h"

#include <algorithm>
#include <array>

namespace platform::dbus {

namespace {

// Ours have some twenty characters; what is longer is not for this program, and not worth a line.
constexpr qsizetype kLongestAddress = 8192;
constexpr qsizetype kLongestAction = 128;
constexpr qsizetype kMostAddresses = 64;

bool isTask(const QString& name)
{
    using namespace tasks;
    const std::array all{kSignOut, kSignInBegins, kSignInSaved, kSignInFailed};
    return std::ranges::find(all, name) != all.end();
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(ApplicationService* service)
    : QDBusAbstractAdaptor(service)
    , m_service(service)
{
}

void ApplicationAdaptor::Activate(const QVariantMap& platformData, const QDBusMessage& message)
{
    m_service->take(
        {{.kind = ApplicationCall::Kind::Activate, .text = {}, .token = tokenIn(platformData)}},
        message);
}

void ApplicationAdaptor::Open(const QStringList& uris,
                              const QVariantMap& platformData,
                              const QDBusMessage& message)
{
    const auto isTooLong = [](const QString& uri) {
        return uri.size() > kLongestAddress;
    };
    if (uris.size() > kMostAddresses || std::ranges::any_of(uris, isTooLong)) {
        m_service->refuse(message, QDBusError::InvalidArgs, QStringLiteral("too many or too long"));
        return;
    }
    QList<ApplicationCall> calls;
    for (const QString& uri : uris)
        calls.append(
            {.kind = ApplicationCall::Kind::Open, .text = uri, .token = tokenIn(platformData)});
    m_service->take(calls, message);
}

void ApplicationAdaptor::ActivateAction(const QString& name,
                                        const QVariantList& /*parameter*/,
                                        const QVariantMap& platformData,
                                        const QDBusMessage& message)
{
    if (name.size() > kLongestAction) {
        m_service->refuse(message, QDBusError::InvalidArgs, QStringLiteral("the name is too long"));
        return;
    }
    ApplicationCall call{
        .kind = ApplicationCall::Kind::Action, .text = name, .token = tokenIn(platformData)};
    if (isTask(name)) {
        call.kind = ApplicationCall::Kind::Task;
        call.answer = m_service->answerTo(message);
    }
    m_service->take({call}, message);
}

} // namespace platform::dbus
