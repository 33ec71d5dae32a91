// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"

#include "account/device_identity.h"
#include "account/login_reply.h"
#include "account/login_request.h"
#include "account/service_endpoint.h"
#include "platform/build_config.h"
#include "platform/environment.h"
#include "platform/exact_utf8.h"

#include <QCoroFuture>
#include <QPointer>
#include <QUtf8StringView>

#include <utility>

namespace account {

namespace {

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// Makes `field` hold `value`; true when that changes it.
template <typename T> bool assign(T& field, const T& value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

} // namespace

AuthService::AuthService(const Dependencies& dependencies)
    : m_serviceUrl(dependencies.serviceUrl)
    , m_userDefaults(dependencies.userDefaults)
    , m_secretStore(dependencies.secretStore)
    , m_httpClient(dependencies.httpClient)
{
    connect(&m_secretStore, &platform::SecretStore::becameReadable, this, &AuthService::readToken);
    readToken();
}

AuthService& AuthService::shared()
{
    const platform::Environment& environment = platform::environment();
    static auto* const service = new AuthService({
        .serviceUrl = fromView(platform::kServiceUrl),
        .userDefaults = environment.userDefaults,
        .secretStore = environment.secretStore,
        .httpClient = environment.httpClient,
    });
    return *service;
}

QCoro::Task<bool> AuthService::login(QString email, QString password)
{
    const QPointer<AuthService> self(this);
    setLastError(std::nullopt);
    const std::optional<QString> url = serviceEndpoint(m_serviceUrl, QStringLiteral("/api/token"));
    if (!url) {
        setLastError(QStringLiteral("Invalid API URL"));
        co_return false;
    }
    const std::optional<QByteArray> body = loginBody(email, password, getDeviceId());
    if (!body) {
        setLastError(QStringLiteral("Failed to encode request"));
        co_return false;
    }
    const platform::HttpRequest request{
        .method = platform::HttpMethod::Post,
        .url = *url,
        .headers = {{.name = "Content-Type", .value = "application/json"},
                    {.name = "Accept", .value = "application/json"}},
        .body = *body,
    };

    const platform::HttpOutcome outcome = co_await m_httpClient.send(request);
    if (self.isNull())
        co_return false;
    const platform::Result<Session> reply = readLoginReply(outcome);
    if (!reply) {
        setLastError(reply.error().text);
        co_return false;
    }
    m_userHasActed = true;
    saveToken(reply.value().token);
    setToken(reply.value().token);
    setCurrentUser(reply.value().user);
    setIsAuthenticated(true);
    co_return true;
}

void AuthService::logout()
{
    m_userHasActed = true;
    deleteToken();
    setToken(std::nullopt);
    setIsAuthenticated(false);
}

platform::SecretName AuthService::secretName()
{
    return {
        .service = fromView(platform::kBundleIdentifier),
        .account = QStringLiteral("authToken"),
    };
}

void AuthService::readToken()
{
    if (m_userHasActed || m_isAuthenticated)
        return;
    m_secretStore.read(secretName()).then(this, [this](const std::optional<QByteArray>& secret) {
        if (m_userHasActed || !secret || !QUtf8StringView(*secret).isValidUtf8())
            return;
        setToken(platform::fromExactUtf8(secret->toStdString()));
        setIsAuthenticated(true);
        Q_EMIT sessionResumed();
    });
}

void AuthService::saveToken(const QString& token)
{
    m_secretStore.save(secretName(), token.toUtf8());
}

void AuthService::deleteToken()
{
    m_secretStore.remove(secretName());
}

QString AuthService::getDeviceId()
{
    return deviceIdentity(m_userDefaults, QStringLiteral("deviceId"));
}

void AuthService::setIsAuthenticated(bool value)
{
    if (assign(m_isAuthenticated, value))
        Q_EMIT isAuthenticatedChanged();
}

void AuthService::setToken(const std::optional<QString>& token)
{
    if (assign(m_token, token))
        Q_EMIT tokenChanged();
}

void AuthService::setCurrentUser(const std::optional<UserResponse>& user)
{
    if (assign(m_currentUser, user))
        Q_EMIT currentUserChanged();
}

void AuthService::setLastError(const std::optional<QString>& text)
{
    if (assign(m_lastError, text))
        Q_EMIT lastErrorChanged();
}

} // namespace account
