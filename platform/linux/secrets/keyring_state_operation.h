// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/keyring_operation.h"

#include <QFuture>
#include <QPromise>
#include <QString>

namespace platform::secrets {

/// Finds out how the default keyring is, as a phrase for a person. Never prompts.
class KeyringStateOperation final : public KeyringOperation
{
    Q_OBJECT

public:
    explicit KeyringStateOperation(std::chrono::milliseconds limit);

    [[nodiscard]] QFuture<QString> future() { return m_promise.future(); }

protected:
    void connected() override;
    void fail(Failure failure) override;

private:
    void aliasRead(GAsyncResult* result);
    void answer(const QString& state);

    QPromise<QString> m_promise;
};

} // namespace platform::secrets
