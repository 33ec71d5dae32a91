// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

#include <QCoroTask>
#include <QString>

#include <functional>

namespace account {
class AuthService;
}

namespace platform {
class SecretStore;
}

namespace app {

/// The account by command line, for machines where no window is at hand.
/// Main thread; both run the event loop until they are done.

/// What the keyring has been asked to keep or to forget is done when this returns true.
using Finish = std::function<bool()>;

/// Signs in and checks that the keyring has kept the session. The error says what went wrong.
[[nodiscard]] platform::Outcome signIn(account::AuthService& service,
                                       platform::SecretStore& secrets,
                                       const QString& email,
                                       const QString& password,
                                       const Finish& finish);

/// Signs out and checks that the keyring has forgotten the session.
[[nodiscard]] platform::Outcome
signOut(account::AuthService& service, platform::SecretStore& secrets, const Finish& finish);

} // namespace app
