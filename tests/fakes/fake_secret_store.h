// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/secret_store.h"

#include <QFuture>
#include <QPromise>
#include <QStringList>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace fakes {

/// A keyring in memory that answers at once, or with `holdsReads` when the test lets it.
class FakeSecretStore final : public platform::SecretStore
{
public:
    using Secret = std::optional<QByteArray>;

    [[nodiscard]] QFuture<Secret> read(const platform::SecretName& name) override
    {
        calls.append(QStringLiteral("read"));
        auto promise = std::make_unique<QPromise<Secret>>();
        promise->start();
        QFuture<Secret> future = promise->future();
        if (holdsReads)
            m_held.emplace_back(name, std::move(promise));
        else
            answer(name, *promise);
        return future;
    }

    QFuture<bool> save(const platform::SecretName& name, const QByteArray& secret) override
    {
        calls.append(QStringLiteral("save"));
        if (works)
            secrets[key(name)] = secret;
        return finished(works);
    }

    QFuture<bool> remove(const platform::SecretName& name) override
    {
        calls.append(QStringLiteral("remove"));
        if (works)
            secrets.erase(key(name));
        return finished(works);
    }

    /// Answers the reads that were held.
    void answerReads()
    {
        for (const auto& [name, promise] : std::exchange(m_held, {}))
            answer(name, *promise);
    }

    /// The secret under `name`; none when there is none.
    [[nodiscard]] Secret secret(const platform::SecretName& name) const
    {
        const auto found = secrets.find(key(name));
        return found == secrets.end() ? std::nullopt : Secret(found->second);
    }

    static std::pair<QString, QString> key(const platform::SecretName& name)
    {
        return {name.service, name.account};
    }

    std::map<std::pair<QString, QString>, QByteArray> secrets;
    bool works = true;
    bool holdsReads = false;
    QStringList calls;

private:
    void answer(const platform::SecretName& name, QPromise<Secret>& promise) const
    {
        promise.addResult(works ? secret(name) : std::nullopt);
        promise.finish();
    }

    static QFuture<bool> finished(bool result)
    {
        QPromise<bool> promise;
        promise.start();
        promise.addResult(result);
        promise.finish();
        return promise.future();
    }

    std::vector<std::pair<platform::SecretName, std::unique_ptr<QPromise<Secret>>>> m_held;
};

} // namespace fakes
