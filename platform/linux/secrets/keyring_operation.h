// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/glib_owned.h"
#include "platform/secret_store.h"

#include <QObject>
#include <QPromise>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <libsecret/secret.h>
#include <memory>
#include <utility>

namespace platform::secrets {

/// One thing asked of the keyring: a chain of asynchronous calls that comes to its answer within
/// its limit, counted from when it was asked for.
/// The answer and the end are two moments: a call that was given up may take a while to let go.
/// Held by its calls for as long as they last. Main thread; nothing blocks.
class KeyringOperation : public QObject, public std::enable_shared_from_this<KeyringOperation>
{
    Q_OBJECT

public:
    enum class Kind : std::uint8_t { Look, Change };
    enum class Failure : std::uint8_t { NoBus, NoService, TimedOut, Other };

    [[nodiscard]] const SecretName& name() const { return m_name; }

    [[nodiscard]] Kind kind() const { return m_kind; }

    [[nodiscard]] bool hasBegun() const { return m_hasBegun; }

    [[nodiscard]] bool isAnswered() const { return m_isAnswered; }

    /// Starts the calls; once.
    void begin();

    /// Answers that it failed, unless it has its answer, and lets go of the call under way.
    void giveUp();

Q_SIGNALS:
    /// The answer has been given.
    void answered();
    /// Nothing of this reaches the keyring any more. The last signal.
    void ended();

protected:
    KeyringOperation(SecretName name, Kind kind, std::chrono::milliseconds limit);

    /// The session bus is there. By default connects to the keyring and goes on to opened().
    virtual void connected();

    /// The keyring is there. It is opened for this operation alone: the connection that libsecret
    /// keeps for the whole process does not notice that the service was started anew.
    virtual void opened() {}

    /// Gives the answer that stands for a failure.
    virtual void fail(Failure failure) = 0;

    /// Gives `value` as the answer. Whoever gets it may let go of this object's owner.
    template <typename T> void give(QPromise<T>& promise, T value)
    {
        m_isAnswered = true;
        m_limit.stop();
        promise.addResult(std::move(value));
        promise.finish();
        Q_EMIT answered();
    }

    /// Fails, unless there is an answer. Takes `error`, which may be null.
    void failWith(GError* error);

    /// The data of an asynchronous call that goes on with `step`, or ends the chain when there is
    /// an answer by then. A chain that ends without an answer has failed.
    [[nodiscard]] gpointer next(Continuation step);

    /// For calls that never prompt.
    [[nodiscard]] GCancellable* cancellable() const { return m_cancellable.get(); }

    /// For calls that may prompt. Cancelled, they dismiss the prompt, and gnome-keyring 42 ends
    /// with a failed assertion when a prompt to unlock is dismissed, taking the user's other
    /// secrets out of reach. So it stays on the screen, and whatever comes of it is not used any
    /// more.
    static constexpr GCancellable* kNotCancellable = nullptr;

    /// From connected() on.
    [[nodiscard]] GDBusConnection* bus() const { return m_bus.get(); }

    /// From opened() on.
    [[nodiscard]] SecretService* service() const { return m_service.get(); }

private:
    void failAndCancel(Failure failure);
    void endStep();
    void end();

    SecretName m_name;
    Kind m_kind;
    GlibOwned<GCancellable> m_cancellable;
    GlibOwned<GDBusConnection> m_bus;
    GlibOwned<SecretService> m_service;
    QTimer m_limit;
    QTimer m_grace;
    int m_calls = 0;
    bool m_hasBegun = false;
    bool m_isAnswered = false;
    bool m_hasEnded = false;
};

/// How our secrets are filed.
[[nodiscard]] const SecretSchema* secretSchema();
[[nodiscard]] GlibOwned<GHashTable> attributesOf(const SecretName& name);

} // namespace platform::secrets
