// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/secret_store.h"

#include <QDBusConnection>
#include <QFuture>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace platform::secrets {

class KeyringWatch;
struct Answer;
struct Question;

struct SecretLimits
{
    /// For what never prompts.
    std::chrono::milliseconds look = std::chrono::seconds(3);
    /// For what may prompt: time to find the prompt and to remember a password.
    std::chrono::milliseconds change = std::chrono::minutes(2);
};

/// The keyring behind the freedesktop Secret Service, through libsecret. Secrets are items of the
/// schema "com.velomira.UsageMonitor" with the attributes "service" and "account" in the default
/// keyring; the secret is kept byte for byte as text/plain.
/// Reading may start the service where the session bus can; without a session bus nothing starts
/// one. libsecret answers in GLib's main loop, which must be Qt's own, as it is on Debian: with a
/// Qt without it, or told to do without (QT_NO_GLIB), nothing is answered before its limit.
class LibsecretStore final : public SecretStore
{
    Q_OBJECT

public:
    /// `sessionBus` tells when a keyring becomes readable; libsecret has a connection of its own.
    explicit LibsecretStore(const QDBusConnection& sessionBus, SecretLimits limits = {});
    LibsecretStore(const LibsecretStore&) = delete;
    LibsecretStore& operator=(const LibsecretStore&) = delete;

    /// Ends what is under way: its futures give none or false.
    ~LibsecretStore() override;

    [[nodiscard]] QFuture<std::optional<QByteArray>> read(const SecretName& name) override;
    QFuture<bool> save(const SecretName& name, const QByteArray& secret) override;
    QFuture<bool> remove(const SecretName& name) override;

    /// How the default keyring is, as a phrase ("unlocked", "locked", "no default keyring",
    /// "no service on the session bus", "no session bus", "does not answer"), within the limit of
    /// reading. Never prompts.
    [[nodiscard]] QFuture<QString> keyringState();

    /// Waits, while events are handled, until every save and removal has come to its result: for
    /// the end of the process. False when one has not within `limit`; it goes on then.
    [[nodiscard]] bool finish(std::chrono::milliseconds limit);

Q_SIGNALS:
    /// A save or removal has come to its result.
    void changeAnswered(QPrivateSignal);

private:
    class Operation;
    using Deliver = std::function<void(Answer)>;

    template <typename T>
    [[nodiscard]] QFuture<T> enqueue(std::shared_ptr<Question> question,
                                     std::function<T(Answer)> resultOf);
    [[nodiscard]] QFuture<bool> change(std::shared_ptr<Question> question);
    void beginReady();
    void forget(const Operation* operation);
    [[nodiscard]] bool hasPendingChange() const;

    SecretLimits m_limits;
    std::unique_ptr<KeyringWatch> m_watch;
    std::vector<std::shared_ptr<Operation>> m_operations; // as they were asked for
};

} // namespace platform::secrets
