// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/secret_store.h"

#include <QFuture>
#include <QPromise>
#include <QStringList>

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace fakes {

/// A keyring in memory that answers at once, or with `holdsReads` and `holdsChanges` when the test
/// lets it.
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
        return change(works, [this, name, secret] { secrets[key(name)] = secret; });
    }

    QFuture<bool> remove(const platform::SecretName& name) override
    {
        calls.append(QStringLiteral("remove"));
        return change(works && removes, [this, name] { secrets.erase(key(name)); });
    }

    /// Does the changes that were held, all but the last as what a newer one has taken the place
    /// of.
    void answerChanges()
    {
        auto held = std::exchange(m_heldChanges, {});
        for (std::size_t i = 0; i < held.size(); ++i)
            finish(*held[i].promise, held[i].works && i + 1 == held.size(), held[i].work);
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
    bool removes = true;
    bool holdsReads = false;
    bool holdsChanges = false;
    QStringList calls;

private:
    void answer(const platform::SecretName& name, QPromise<Secret>& promise) const
    {
        promise.addResult(works ? secret(name) : std::nullopt);
        promise.finish();
    }

    QFuture<bool> change(bool worksNow, std::function<void()> work)
    {
        auto promise = std::make_unique<QPromise<bool>>();
        promise->start();
        QFuture<bool> future = promise->future();
        if (holdsChanges)
            m_heldChanges.push_back(
                {.promise = std::move(promise), .works = worksNow, .work = std::move(work)});
        else
            finish(*promise, worksNow, work);
        return future;
    }

    static void finish(QPromise<bool>& promise, bool worksNow, const std::function<void()>& work)
    {
        if (worksNow)
            work();
        promise.addResult(worksNow);
        promise.finish();
    }

    struct HeldChange
    {
        std::unique_ptr<QPromise<bool>> promise;
        bool works;
        std::function<void()> work;
    };

    std::vector<HeldChange> m_heldChanges;
    std::vector<std::pair<platform::SecretName, std::unique_ptr<QPromise<Secret>>>> m_held;
};

} // namespace fakes
