// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/glib_owned.h"
#include "base/wipe.h"
#include "platform/secret_store.h"

#include <QByteArray>
#include <QCoroTask>
#include <QLatin1StringView>
#include <QLoggingCategory>
#include <QString>

#include <cstdint>
#include <gio/gio.h>
#include <memory>
#include <optional>
#include <utility>

namespace platform::secrets {

// For developers; off by default. Messages of the service name no secret.
Q_DECLARE_LOGGING_CATEGORY(lcSecrets)

/// The well-known name of the Secret Service, and its object for the default keyring.
inline constexpr QLatin1StringView kSecretService("org.freedesktop.secrets");
inline constexpr QLatin1StringView kDefaultKeyring("/org/freedesktop/secrets/aliases/default");

enum class KeyringState : std::uint8_t {
    Unlocked,
    Locked,
    Missing, // the service has no such keyring
    NoBus,
    NoService, // on the session bus
    Slow,      // no answer within the limit
    Failed
};

/// What is asked of the keyring.
struct Question
{
    enum class Kind : std::uint8_t {
        /// Looks a secret up, of several the one modified last among those that are not locked.
        Read,
        /// Keeps the secret in the default keyring, in place of the one filed there under the same
        /// name. May prompt, to unlock the keyring or to make one.
        Save,
        /// Removes every secret that is filed under the name: those at hand, then, after a prompt,
        /// those in locked keyrings. Failed when some are left.
        Remove,
        /// Finds out how the default keyring is.
        Look
    };

    Question(Kind asked, SecretName about)
        : kind(asked)
        , name(std::move(about))
        , cancellable(g_cancellable_new())
    {
    }

    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;

    ~Question() { wipe(secret); }

    Kind kind;
    SecretName name;
    QByteArray secret; // to be saved
    /// Cancelled, it ends the calls that never prompt. Whatever comes of others is not used any
    /// more, and the answer says nothing.
    posix::GlibOwned<GCancellable> cancellable;
};

struct Answer
{
    /// Unlocked where everything was done as asked; else what hindered it.
    KeyringState state = KeyringState::Unlocked;
    // Without them GCC takes what an answer leaves out for forgotten.
    // NOLINTBEGIN(readability-redundant-member-init)
    std::optional<QByteArray> secret = {}; // that was read
    /// The object path of the keyring that is locked.
    QString keyring = {};
    // NOLINTEND(readability-redundant-member-init)
};

/// Asks the keyring: a chain of asynchronous calls of libsecret, without a limit. It lasts for as
/// long as the calls do. Main thread, whose event loop must be GLib's.
[[nodiscard]] QCoro::Task<Answer> ask(std::shared_ptr<const Question> question);

} // namespace platform::secrets
