// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"
#include "platform/http_client.h"
#include "platform/secret_store.h"
#include "platform/user_defaults.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <optional>

namespace account {

/// The account on the Velomira service: signs in and out, keeps the token in the desktop's keyring
/// and tells everybody else whether somebody is signed in.
///
/// Main thread only. Each signal is emitted when its value has changed.
class AuthService final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated NOTIFY isAuthenticatedChanged FINAL)

public:
    struct Dependencies
    {
        /// Scheme, host and port of the service.
        QString serviceUrl;
        platform::UserDefaults& userDefaults;
        platform::SecretStore& secretStore;
        platform::HttpClient& httpClient;
    };

    /// Asks the keyring for the token of an earlier run; when it comes, now or later, the session
    /// goes on, without a user record. A keyring that is unlocked only after that is asked again.
    /// Whatever the user does in between outranks it.
    explicit AuthService(const Dependencies& dependencies);

    /// The process's service, made on first use from the installed environment; never destroyed.
    static AuthService& shared();

    /// Signs in; true when somebody is signed in with these credentials now. Otherwise lastError()
    /// says why, and nothing else has changed. Does not block.
    QCoro::Task<bool> login(QString email, QString password);

    /// Signs out. currentUser() and lastError() stay.
    void logout();

    /// True while there is a token.
    [[nodiscard]] bool isAuthenticated() const { return m_isAuthenticated; }

    /// The bearer token of the session.
    [[nodiscard]] const std::optional<QString>& token() const { return m_token; }

    /// The user of the last successful sign-in in this run.
    [[nodiscard]] const std::optional<UserResponse>& currentUser() const { return m_currentUser; }

    /// Why the last sign-in failed; none while none has, and while one is under way.
    [[nodiscard]] const std::optional<QString>& lastError() const { return m_lastError; }

    /// What the token is filed under in the keyring.
    [[nodiscard]] static platform::SecretName secretName();

Q_SIGNALS:
    void isAuthenticatedChanged();
    void tokenChanged();
    void currentUserChanged();
    void lastErrorChanged();

    /// The session of an earlier run goes on, at start or once the keyring could be read.
    void sessionResumed();

private:
    void readToken();
    void saveToken(const QString& token);
    void deleteToken();
    [[nodiscard]] QString getDeviceId();

    void setIsAuthenticated(bool value);
    void setToken(const std::optional<QString>& token);
    void setCurrentUser(const std::optional<UserResponse>& user);
    void setLastError(const std::optional<QString>& text);

    QString m_serviceUrl;
    platform::UserDefaults& m_userDefaults;
    platform::SecretStore& m_secretStore;
    platform::HttpClient& m_httpClient;
    bool m_userHasActed = false;
    bool m_isAuthenticated = false;
    std::optional<QString> m_token;
    std::optional<UserResponse> m_currentUser;
    std::optional<QString> m_lastError;
};

} // namespace account
