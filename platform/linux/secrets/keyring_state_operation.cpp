// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/keyring_state_operation.h"

#include "platform/linux/secrets/session_bus.h"

#include <string_view>

namespace platform::secrets {

namespace {

QString phrase(KeyringLock lock)
{
    switch (lock) {
    case KeyringLock::Unlocked:
        return QStringLiteral("unlocked");
    case KeyringLock::Locked:
        return QStringLiteral("locked");
    case KeyringLock::Missing:
        return QStringLiteral("no default keyring");
    case KeyringLock::NoService:
        return QStringLiteral("no service on the session bus");
    case KeyringLock::Unknown:
        break;
    }
    return QStringLiteral("answers with an error");
}

} // namespace

KeyringStateOperation::KeyringStateOperation(std::chrono::milliseconds limit)
    : KeyringOperation({}, Kind::Look, limit)
{
    m_promise.start();
}

void KeyringStateOperation::connected()
{
    // Starts the service where it can be started, as reading does.
    g_dbus_connection_call(bus(),
                           kSecretService,
                           "/org/freedesktop/secrets",
                           "org.freedesktop.Secret.Service",
                           "ReadAlias",
                           g_variant_new("(s)", "default"),
                           G_VARIANT_TYPE("(o)"),
                           G_DBUS_CALL_FLAGS_NONE,
                           G_MAXINT,
                           cancellable(),
                           continueAsync,
                           next([this](GAsyncResult* result) { aliasRead(result); }));
}

void KeyringStateOperation::aliasRead(GAsyncResult* result)
{
    GError* error = nullptr;
    const GlibOwned<GVariant> reply(g_dbus_connection_call_finish(bus(), result, &error));
    if (reply == nullptr) {
        failWith(error);
        return;
    }
    const char* keyring = nullptr;
    g_variant_get(reply.get(), "(&o)", &keyring);
    if (std::string_view(keyring) == "/") {
        answer(phrase(KeyringLock::Missing));
        return;
    }
    askForLock(bus(), keyring, cancellable(), next([this](GAsyncResult* lock) {
                   answer(phrase(finishAskingForLock(bus(), lock)));
               }));
}

void KeyringStateOperation::fail(Failure failure)
{
    QString state = phrase(KeyringLock::Unknown);
    if (failure == Failure::NoBus)
        state = QStringLiteral("no session bus");
    else if (failure == Failure::NoService)
        state = phrase(KeyringLock::NoService);
    else if (failure == Failure::TimedOut)
        state = QStringLiteral("does not answer");
    give(m_promise, state);
}

void KeyringStateOperation::answer(const QString& state)
{
    give(m_promise, state);
}

} // namespace platform::secrets
