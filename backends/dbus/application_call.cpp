// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/application_call.h"

#include "base/build_config.h"

#include <QMetaType>
#include <QStringList>
#include <QVariantList>

namespace platform::dbus {

namespace {

/// Longer ones are none of a desktop's; an X server or a compositor would be told them.
constexpr qsizetype kLongestToken = 4096;

constexpr const char* kTokenKeys[] = {"activation-token", "desktop-startup-id"};
constexpr const char* kTokenVariables[] = {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"};

} // namespace

QString applicationName()
{
    return QString::fromLatin1(kBundleIdentifier.data(), kBundleIdentifier.size());
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

} // namespace platform::dbus
