// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/save_operation.h"

#include <utility>

namespace platform::secrets {

namespace {

// Shown by the desktop's keyring manager.
constexpr const char* kLabel = "Velomira Usage Monitor sign-in";

} // namespace

SaveOperation::SaveOperation(const SecretName& name,
                             QByteArray secret,
                             std::chrono::milliseconds limit)
    : KeyringOperation(name, Kind::Change, limit)
    , m_secret(std::move(secret))
{
    m_promise.start();
}

void SaveOperation::opened()
{
    SecretValue* const value =
        secret_value_new(m_secret.constData(), static_cast<gssize>(m_secret.size()), "text/plain");
    secret_service_store(service(),
                         secretSchema(),
                         attributesOf(name()).get(),
                         SECRET_COLLECTION_DEFAULT,
                         kLabel,
                         value,
                         cancellable(),
                         continueAsync,
                         next([this](GAsyncResult* result) {
                             GError* error = nullptr;
                             if (secret_service_store_finish(service(), result, &error))
                                 answer(true);
                             else
                                 failWith(error);
                         }));
    secret_value_unref(value);
}

void SaveOperation::fail(Failure)
{
    give(m_promise, false);
}

void SaveOperation::answer(bool isKept)
{
    give(m_promise, isKept);
}

} // namespace platform::secrets
