// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/secrets/keyring_operation.h"

#include <QFuture>
#include <QPromise>

#include <vector>

namespace platform::secrets {

/// Removes every secret that is filed under a name: those at hand, then, after a prompt, those in
/// locked keyrings. True when none is left.
class RemoveOperation final : public KeyringOperation
{
    Q_OBJECT

public:
    RemoveOperation(const SecretName& name, std::chrono::milliseconds limit);

    [[nodiscard]] QFuture<bool> future() { return m_promise.future(); }

protected:
    void opened() override;
    void fail(Failure failure) override;

private:
    void sort(GList* items);
    void removeNext();
    void unlock();
    void answer();

    QPromise<bool> m_promise;
    std::vector<GlibOwned<SecretItem>> m_atHand;
    std::vector<GlibOwned<SecretItem>> m_locked;
    bool m_isIncomplete = false;
};

} // namespace platform::secrets
