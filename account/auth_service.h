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

#include <cstdint>
#include <optional>

namespace account {

// What everybody needs who talks to the service.

/// The address of `path` at the service; none when what `serviceUrl` says is not an address with
/// scheme and host (RFC 3986). Any thread.
[[nodiscard]] std::optional<QString> serviceEndpoint(const QString& serviceUrl,
                                                     const QString& path);

/// The identity kept under `key`: a random UUID in upper case, made when it is first asked for.
/// Main thread.
[[nodiscard]] QString deviceIdentity(platform::UserDefaults& defaults, const QString& key);

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
    /// Whatever the user does in between outranks it. So does a sign-out of an earlier run that the
    /// keyring has not heard of: then nobody is signed in, and what it holds is removed as soon as
    /// that can be done without asking the user.
    explicit AuthService(const Dependencies& dependencies);

    /// The process's service, made on first use from the installed environment; never destroyed.
    static AuthService& shared();

    /// Signs in; true when somebody is signed in with these credentials now. Otherwise lastError()
    /// says why, and nothing else has changed. Does not block.
    QCoro::Task<bool> login(QString email, QString password);

    /// Signs out, for good: a keyring that does not forget the token now has it removed when it
    /// opens, in this run or a later one. currentUser() and lastError() stay.
    void logout();

    /// Another process is about to sign in: until resumeSavedSession(), reclaimKeyring() or the
    /// user's next word here nothing is removed from the keyring. False, and nothing has changed,
    /// while the keyring has not answered the last change.
    [[nodiscard]] bool yieldKeyring();

    /// The other process did not sign in after all.
    void reclaimKeyring();

    /// Another process has signed in and saved its token: the session goes on with that one, as
    /// after a restart. False when the keyring gave none, within three seconds; the session is as
    /// it was then.
    QCoro::Task<bool> resumeSavedSession();

    /// True once it is known whether a session of an earlier run goes on, as far as the keyring
    /// says without the user: from the keyring's first answer on, three seconds from the start at
    /// most, or since the user has signed in or out.
    [[nodiscard]] bool isSessionKnown() const { return m_isSessionKnown; }

    /// True from a sign-in or sign-out until the keyring has said whether it could follow.
    [[nodiscard]] bool isChangingKeyring() const { return m_isChangingKeyring; }

    /// Whether the token of an ended session may still be in the keyring.
    [[nodiscard]] bool owesRemoval() const { return owesRemoval(m_userDefaults); }

    /// The same by the settings alone.
    [[nodiscard]] static bool owesRemoval(const platform::UserDefaults& defaults);

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

    /// The session of an earlier run, or of another process, goes on.
    void sessionResumed();

    /// isSessionKnown() has become true. Once.
    void sessionBecameKnown();

    /// isChangingKeyring() has become false.
    void keyringSettled();

private:
    enum class Attempt : std::uint8_t { First, Last };

    void readToken();
    bool resume(const QByteArray& secret);
    void saveToken(const QString& token);
    void deleteToken(Attempt attempt = Attempt::First);
    void finishSigningOut();
    [[nodiscard]] int beginChange();
    [[nodiscard]] bool endChange(int change, bool isDone);
    void noteSessionKnown();
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
    bool m_isSessionKnown = false;
    bool m_isChangingKeyring = false;
    bool m_yieldsKeyring = false;
    int m_changes = 0; ///< of the keyring, so far
    bool m_isAuthenticated = false;
    std::optional<QString> m_token;
    std::optional<UserResponse> m_currentUser;
    std::optional<QString> m_lastError;
};

} // namespace account
