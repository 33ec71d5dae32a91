// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_service.h"

#include "account/auth_records.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"
#include "base/uuid.h"
#include "base/wipe.h"
#include "platform/environment.h"

#include <QCoroFuture>
#include <QLoggingCategory>
#include <QPointer>
#include <QUrl>
#include <QUtf8StringView>

#include <utility>

namespace account {

namespace {

// For developers; off by default. Neither tokens and passwords nor who it is.
Q_LOGGING_CATEGORY(lcAccount, "velomira.account", QtCriticalMsg)

const QString kInvalidUrl = QStringLiteral("Invalid API URL");
const QString kNotEncodable = QStringLiteral("Failed to encode request");

/// There from a sign-out until the keyring is known to have forgotten the token, or a sign-in to
/// have replaced it; its value says nothing.
const QString kSignedOut = QStringLiteral("signedOut");

/// Makes `field` hold `value`; true when that changes it.
template <typename T> bool assign(T& field, const T& value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

} // namespace

std::optional<QString> serviceEndpoint(const QString& serviceUrl, const QString& path)
{
    const QUrl url(serviceUrl + path, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return url.toString(QUrl::FullyEncoded);
}

QString deviceIdentity(platform::UserDefaults& defaults, const QString& key)
{
    if (const std::optional<QString> stored = defaults.string(key))
        return *stored;
    const auto text = platform::Uuid::random().toText();
    const QString created = QString::fromLatin1(text.data(), text.size());
    defaults.setString(key, created);
    return created;
}

AuthService::AuthService(const Dependencies& dependencies)
    : m_serviceUrl(dependencies.serviceUrl)
    , m_userDefaults(dependencies.userDefaults)
    , m_secretStore(dependencies.secretStore)
    , m_httpClient(dependencies.httpClient)
{
    connect(&m_secretStore, &platform::SecretStore::becameReadable, this, &AuthService::readToken);
    readToken();
    if (owesRemoval())
        noteSessionKnown(); // nothing that the keyring says signs in
}

AuthService& AuthService::shared()
{
    const platform::Environment& environment = platform::environment();
    static auto* const service = new AuthService({
        .serviceUrl = platform::fromExactUtf8(platform::kServiceUrl),
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
        setLastError(kInvalidUrl);
        co_return false;
    }
    std::optional<QByteArray> body = loginBody(email, password, getDeviceId());
    platform::wipe(password);
    if (!body) {
        setLastError(kNotEncodable);
        co_return false;
    }
    platform::HttpRequest request{
        .method = platform::HttpMethod::Post,
        .url = *url,
        .headers = {{.name = "Content-Type", .value = "application/json"},
                    {.name = "Accept", .value = "application/json"}},
        .body = std::move(*body),
        .hasSecretBody = true,
    };

    const platform::HttpOutcome outcome = co_await m_httpClient.send(request);
    platform::wipe(request.body);
    if (self.isNull())
        co_return false;
    const platform::Result<Session> reply = readLoginReply(outcome);
    if (!reply) {
        qCInfo(lcAccount) << "the sign-in was refused or not understood";
        setLastError(reply.error().text);
        co_return false;
    }
    m_userHasActed = true;
    saveToken(reply.value().token);
    setToken(reply.value().token);
    setCurrentUser(reply.value().user);
    setIsAuthenticated(true);
    noteSessionKnown();
    co_return true;
}

void AuthService::logout()
{
    m_userHasActed = true;
    deleteToken();
    setToken(std::nullopt);
    setIsAuthenticated(false);
    noteSessionKnown();
}

bool AuthService::yieldKeyring()
{
    if (m_isChangingKeyring)
        return false;
    m_yieldsKeyring = true;
    return true;
}

void AuthService::reclaimKeyring()
{
    m_yieldsKeyring = false;
    readToken();
}

QCoro::Task<bool> AuthService::resumeSavedSession()
{
    const QPointer<AuthService> self(this);
    const int change = m_changes;
    const std::optional<QByteArray> secret = co_await m_secretStore.read(secretName());
    if (self.isNull() || change != m_changes)
        co_return false;
    m_yieldsKeyring = false;
    if (!secret || !QUtf8StringView(*secret).isValidUtf8()) {
        qCWarning(lcAccount) << "there is no token of the sign-in in the other process";
        co_return false;
    }
    m_userHasActed = true;
    m_userDefaults.remove(kSignedOut);
    setCurrentUser(std::nullopt);
    co_return resume(*secret);
}

bool AuthService::owesRemoval(const platform::UserDefaults& defaults)
{
    return defaults.string(kSignedOut).has_value();
}

platform::SecretName AuthService::secretName()
{
    return {
        .service = platform::fromExactUtf8(platform::kBundleIdentifier),
        .account = QStringLiteral("authToken"),
    };
}

void AuthService::readToken()
{
    if (owesRemoval()) {
        finishSigningOut();
        return;
    }
    if (m_userHasActed || m_isAuthenticated)
        return;
    m_secretStore.read(secretName()).then(this, [this](const std::optional<QByteArray>& secret) {
        if (!m_userHasActed && !m_isAuthenticated && secret)
            resume(*secret);
        noteSessionKnown();
    });
}

bool AuthService::resume(const QByteArray& secret)
{
    if (!QUtf8StringView(secret).isValidUtf8()) {
        qCWarning(lcAccount) << "what the keyring holds is no token";
        return false;
    }
    setToken(platform::fromExactUtf8(secret.toStdString()));
    setIsAuthenticated(true);
    Q_EMIT sessionResumed();
    return true;
}

void AuthService::saveToken(const QString& token)
{
    const int change = beginChange();
    m_secretStore.save(secretName(), token.toUtf8()).then(this, [this, change](bool isKept) {
        if (!endChange(change, isKept) && owesRemoval())
            finishSigningOut(); // what is there is of a session before
    });
}

void AuthService::deleteToken(Attempt attempt)
{
    // First, so that no end of the process in between brings the session back.
    m_userDefaults.setString(kSignedOut, QStringLiteral("true"));
    const int change = beginChange();
    m_secretStore.remove(secretName()).then(this, [this, change, attempt](bool isGone) {
        if (!endChange(change, isGone) && attempt == Attempt::First)
            finishSigningOut();
    });
}

/// Removes the token when it can be read: then nobody is asked to unlock anything. Reading in vain
/// has the keyring tell when it opens.
void AuthService::finishSigningOut()
{
    m_secretStore.read(secretName()).then(this, [this](const std::optional<QByteArray>& secret) {
        if (secret && owesRemoval() && !m_isChangingKeyring && !m_yieldsKeyring)
            deleteToken(Attempt::Last);
    });
}

int AuthService::beginChange()
{
    m_yieldsKeyring = false;
    m_isChangingKeyring = true;
    return ++m_changes;
}

/// Whether all that was asked of the keyring up to `change` is done with: also when a newer change
/// has taken the place of this one.
bool AuthService::endChange(int change, bool isDone)
{
    if (change != m_changes)
        return true;
    m_isChangingKeyring = false;
    if (isDone)
        m_userDefaults.remove(kSignedOut);
    else
        qCWarning(lcAccount) << "the keyring has not taken the change";
    Q_EMIT keyringSettled();
    return isDone;
}

void AuthService::noteSessionKnown()
{
    if (!std::exchange(m_isSessionKnown, true))
        Q_EMIT sessionBecameKnown();
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
    std::optional<QString> before = m_token;
    if (assign(m_token, token))
        Q_EMIT tokenChanged();
    if (before)
        platform::wipe(*before);
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
