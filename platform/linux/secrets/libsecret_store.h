// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/secret_store.h"

namespace platform::secrets {

/// The keyring behind the freedesktop Secret Service, through libsecret.
class LibsecretStore final : public SecretStore
{
    Q_OBJECT

public:
    LibsecretStore();
    ~LibsecretStore() override;

    [[nodiscard]] QFuture<std::optional<QByteArray>> read(const SecretName& name) override;
    QFuture<bool> save(const SecretName& name, const QByteArray& secret) override;
    QFuture<bool> remove(const SecretName& name) override;
};

} // namespace platform::secrets
