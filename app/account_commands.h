// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

#include <QCoroTask>
#include <QString>

#include <functional>
#include <optional>

namespace account {
class AuthService;
}

namespace platform {
class SecretStore;
}

namespace app {

/// The account by command line, for machines where no window is at hand.
/// Main thread; both run the event loop until they are done.

/// What a command needs of its surroundings.
struct AccountSurroundings
{
    /// Waits until the keyring has done what it was asked for, or has not in time.
    std::function<bool()> finishKeyring;
    /// Waits until the settings are on the disk; false when they are not.
    std::function<bool()> finishSettings;
    /// Has the instance that runs do one of platform::tasks; none when no instance runs.
    std::function<std::optional<platform::Outcome>(QLatin1StringView task)> askInstance;
};

/// Signs in, checks that the keyring has kept the session and has an instance that runs go on with
/// it; the password stays in this process. The value is the sentence to tell.
[[nodiscard]] platform::Result<QString> signIn(account::AuthService& service,
                                               platform::SecretStore& secrets,
                                               const QString& email,
                                               const QString& password,
                                               const AccountSurroundings& around);

/// Signs out, an instance that runs, too. The value is the sentence to tell: a keyring that cannot
/// be opened now is no failure, since the sign-out is remembered.
[[nodiscard]] platform::Result<QString> signOut(account::AuthService& service,
                                                const AccountSurroundings& around);

/// The sentence for a sign-out that an instance which runs has done, by the settings as they are
/// on the disk since.
[[nodiscard]] QString signedOutText(bool owesRemoval);

} // namespace app
