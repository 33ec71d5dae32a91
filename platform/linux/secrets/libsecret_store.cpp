// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/libsecret_store.h"

namespace platform::secrets {

namespace {

template <typename T> QFuture<T> finished(T value)
{
    QPromise<T> promise;
    promise.start();
    promise.addResult(std::move(value));
    promise.finish();
    return promise.future();
}

} // namespace

LibsecretStore::LibsecretStore() = default;
LibsecretStore::~LibsecretStore() = default;

QFuture<std::optional<QByteArray>> LibsecretStore::read(const SecretName&)
{
    return finished(std::optional<QByteArray>());
}

QFuture<bool> LibsecretStore::save(const SecretName&, const QByteArray&)
{
    return finished(false);
}

QFuture<bool> LibsecretStore::remove(const SecretName&)
{
    return finished(false);
}

} // namespace platform::secrets
