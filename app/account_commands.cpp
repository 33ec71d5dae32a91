// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/account_commands.h"

#include "account/auth_service.h"
#include "app/wait_for.h"
#include "platform/secret_store.h"

#include <QCoroTask>

namespace app {

using account::AuthService;
using platform::Error;
using platform::Outcome;

Outcome signIn(AuthService& service,
               platform::SecretStore& secrets,
               const QString& email,
               const QString& password,
               const Finish& finish)
{
    if (!QCoro::waitFor(service.login(email, password)))
        return Error{service.lastError().value_or(QString())};
    if (!finish() || waitFor(secrets.read(AuthService::secretName())) !=
                         service.token().value_or(QString()).toUtf8())
        return Error{
            QStringLiteral("the service accepted the password, but the keyring did not keep "
                           "the session; unlock the keyring, or start one, and try again")};
    return platform::success();
}

Outcome signOut(AuthService& service, platform::SecretStore& secrets, const Finish& finish)
{
    service.logout();
    if (!finish() || waitFor(secrets.read(AuthService::secretName())))
        return Error{QStringLiteral("the keyring did not forget the session; unlock it and try "
                                    "again")};
    return platform::success();
}

} // namespace app
