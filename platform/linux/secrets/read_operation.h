// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/hindrance.h"
#include "platform/linux/secrets/keyring_operation.h"

#include <QFuture>
#include <QPromise>

#include <optional>

namespace platform::secrets {

/// Looks a secret up without ever prompting: of several, the one modified last among those that are
/// not locked. None when there is none.
class ReadOperation final : public KeyringOperation
{
    Q_OBJECT

public:
    using Secret = std::optional<QByteArray>;

    ReadOperation(const SecretName& name, std::chrono::milliseconds limit);

    [[nodiscard]] QFuture<Secret> future() { return m_promise.future(); }

    /// Why there is none, if that may pass; once there is an answer.
    [[nodiscard]] const Hindrance& hindrance() const { return m_hindrance; }

protected:
    void opened() override;
    void fail(Failure failure) override;

private:
    void choose(GList* items);
    void lookAtTheDefaultKeyring();
    void answer(Secret secret);

    QPromise<Secret> m_promise;
    Hindrance m_hindrance;
};

} // namespace platform::secrets
