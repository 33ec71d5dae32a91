// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/keyring_operation.h"
#include "platform/wipe.h"

#include <QByteArray>
#include <QFuture>
#include <QPromise>

namespace platform::secrets {

/// Keeps a secret in the default keyring, in place of the one filed there under the same name. The
/// desktop may prompt, to unlock the keyring or to make one. False when it was not kept.
class SaveOperation final : public KeyringOperation
{
    Q_OBJECT

public:
    SaveOperation(const SecretName& name, QByteArray secret, std::chrono::milliseconds limit);

    SaveOperation(const SaveOperation&) = delete;
    SaveOperation& operator=(const SaveOperation&) = delete;

    ~SaveOperation() override { wipe(m_secret); }

    [[nodiscard]] QFuture<bool> future() { return m_promise.future(); }

protected:
    void opened() override;
    void fail(Failure failure) override;

private:
    void keyringFound(GAsyncResult* result);
    void unlock(SecretCollection* keyring);
    void store();

    QByteArray m_secret;
    QPromise<bool> m_promise;
};

} // namespace platform::secrets
