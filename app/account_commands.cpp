// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/account_commands.h"

#include "account/auth_service.h"
#include "app/wait_for.h"
#include "platform/application_requests.h"
#include "platform/secret_store.h"

#include <QCoroTask>

namespace app {

using account::AuthService;
using platform::Error;
using platform::Outcome;
using platform::Result;

namespace {

/// Without a look at other instances.
Outcome signInHere(AuthService& service,
                   platform::SecretStore& secrets,
                   const QString& email,
                   const QString& password,
                   const AccountSurroundings& around)
{
    if (!QCoro::waitFor(service.login(email, password)))
        return Error{service.lastError().value_or(QString())};
    const bool isFinished = around.finishKeyring();
    if (!isFinished || waitFor(secrets.read(AuthService::secretName())) !=
                           service.token().value_or(QString()).toUtf8())
        return Error{
            QStringLiteral("the service accepted the password, but the keyring did not keep "
                           "the session; unlock the keyring, or start one, and try again")};
    if (!around.finishSettings())
        return Error{QStringLiteral("the settings cannot be written")};
    return platform::success();
}

} // namespace

Result<QString> signIn(AuthService& service,
                       platform::SecretStore& secrets,
                       const QString& email,
                       const QString& password,
                       const AccountSurroundings& around)
{
    namespace tasks = platform::tasks;
    if (const auto ready = around.askInstance(tasks::kSignInBegins); ready && !*ready)
        return ready->error();
    const Outcome kept = signInHere(service, secrets, email, password, around);
    const auto taken = around.askInstance(kept ? tasks::kSignInSaved : tasks::kSignInFailed);
    if (!kept)
        return kept.error();
    if (taken && !*taken)
        return Error{QStringLiteral("the session is in the keyring, but ") + taken->error().text};
    return QStringLiteral("Signed in");
}

Result<QString> signOut(AuthService& service, const AccountSurroundings& around)
{
    service.logout();
    static_cast<void>(around.finishKeyring());
    if (!around.finishSettings() && service.owesRemoval())
        return Error{QStringLiteral("the session is still in the keyring, and the settings cannot "
                                    "be written; unlock the keyring and try again")};
    // One that was about to start may have read the token before.
    if (const auto asked = around.askInstance(platform::tasks::kSignOut); asked && !*asked)
        return asked->error();
    return signedOutText(service.owesRemoval());
}

QString signedOutText(bool owesRemoval)
{
    return owesRemoval
               ? QStringLiteral("Signed out. The keyring cannot be opened now; the token in it is "
                                "removed as soon as it opens while Quillstep runs.")
               : QStringLiteral("Signed out");
}

} // namespace app
