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
    secret_collection_for_alias(service(),
                                SECRET_COLLECTION_DEFAULT,
                                SECRET_COLLECTION_NONE,
                                cancellable(),
                                continueAsync,
                                next([this](GAsyncResult* result) { keyringFound(result); }));
}

void SaveOperation::keyringFound(GAsyncResult* result)
{
    GError* error = nullptr;
    const GlibOwned<SecretCollection> keyring(secret_collection_for_alias_finish(result, &error));
    if (error != nullptr)
        failWith(error);
    else if (keyring != nullptr && secret_collection_get_locked(keyring.get()))
        unlock(keyring.get());
    else
        store();
}

/// Storing would unlock by itself; but then what was given up meanwhile would be stored after all,
/// once somebody answers the prompt.
void SaveOperation::unlock(SecretCollection* keyring)
{
    GList* const keyrings = g_list_prepend(nullptr, keyring);
    secret_service_unlock(
        service(), keyrings, kNotCancellable, continueAsync, next([this](GAsyncResult* result) {
            GError* error = nullptr;
            if (secret_service_unlock_finish(service(), result, nullptr, &error) > 0)
                store();
            else
                failWith(error);
        }));
    g_list_free(keyrings);
}

void SaveOperation::store()
{
    SecretValue* const value =
        secret_value_new(m_secret.constData(), static_cast<gssize>(m_secret.size()), "text/plain");
    secret_service_store(service(),
                         secretSchema(),
                         attributesOf(name()).get(),
                         SECRET_COLLECTION_DEFAULT,
                         kLabel,
                         value,
                         kNotCancellable,
                         continueAsync,
                         next([this](GAsyncResult* result) {
                             GError* error = nullptr;
                             if (secret_service_store_finish(service(), result, &error))
                                 give(m_promise, true);
                             else
                                 failWith(error);
                         }));
    secret_value_unref(value);
}

void SaveOperation::fail(Failure /*failure*/)
{
    give(m_promise, false);
}

} // namespace platform::secrets
