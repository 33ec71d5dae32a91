// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/libsecret_store.h"

#include "platform/linux/secrets/glib_loop.h"
#include "platform/linux/secrets/keyring_state_operation.h"
#include "platform/linux/secrets/keyring_watch.h"
#include "platform/linux/secrets/read_operation.h"
#include "platform/linux/secrets/remove_operation.h"
#include "platform/linux/secrets/save_operation.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace platform::secrets {

LibsecretStore::LibsecretStore(SecretLimits limits)
    : m_limits(limits)
    , m_watch(std::make_unique<KeyringWatch>())
{
    connect(m_watch.get(), &KeyringWatch::becameReadable, this, &SecretStore::becameReadable);
}

// NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory
LibsecretStore::~LibsecretStore()
{
    const auto operations = std::exchange(m_operations, {});
    for (const auto& operation : operations) {
        operation->disconnect(this);
        operation->giveUp();
    }
}

template <typename Operation> auto LibsecretStore::enqueue(std::shared_ptr<Operation> operation)
{
    if (m_loop == nullptr && !GlibLoop::isQtsOwn())
        m_loop = std::make_unique<GlibLoop>();
    const KeyringOperation* const asked = operation.get();
    connect(asked, &KeyringOperation::answered, this, [this, asked] {
        if (asked->kind() == KeyringOperation::Kind::Change)
            Q_EMIT changeAnswered(QPrivateSignal());
    });
    connect(asked, &KeyringOperation::ended, this, [this, asked] { forget(asked); });
    auto future = operation->future();
    m_operations.push_back(std::move(operation));
    beginReady();
    return future;
}

QFuture<std::optional<QByteArray>> LibsecretStore::read(const SecretName& name)
{
    auto operation = std::make_shared<ReadOperation>(name, m_limits.look);
    connect(operation.get(), &KeyringOperation::answered, this, [this, asked = operation.get()] {
        if (asked->hindrance().kind != Hindrance::Kind::None)
            m_watch->start(asked->hindrance());
    });
    return enqueue(std::move(operation));
}

QFuture<bool> LibsecretStore::save(const SecretName& name, const QByteArray& secret)
{
    supersede(name);
    return enqueue(std::make_shared<SaveOperation>(name, secret, m_limits.change));
}

QFuture<bool> LibsecretStore::remove(const SecretName& name)
{
    supersede(name);
    return enqueue(std::make_shared<RemoveOperation>(name, m_limits.change));
}

QFuture<QString> LibsecretStore::keyringState()
{
    return enqueue(std::make_shared<KeyringStateOperation>(m_limits.look));
}

bool LibsecretStore::finish(std::chrono::milliseconds limit)
{
    QEventLoop loop;
    connect(this, &LibsecretStore::changeAnswered, &loop, [this, &loop] {
        if (!hasPendingChange())
            loop.quit();
    });
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    if (hasPendingChange())
        loop.exec();
    return !hasPendingChange();
}

/// Ends the changes of `name` that are not through, in favour of one to come.
void LibsecretStore::supersede(const SecretName& name)
{
    const auto operations = m_operations; // they leave the list
    for (const auto& operation : operations) {
        if (operation->name() == name && operation->kind() == KeyringOperation::Kind::Change)
            operation->giveUp();
    }
}

/// Begins every operation that none of the same name is before.
void LibsecretStore::beginReady()
{
    const auto operations = m_operations;
    for (auto i = operations.begin(); i != operations.end(); ++i) {
        const bool mayBegin = !(*i)->hasBegun() && !(*i)->isAnswered() &&
                              std::none_of(operations.begin(), i, [&i](const auto& before) {
                                  return before->name() == (*i)->name();
                              });
        if (mayBegin)
            (*i)->begin();
    }
}

void LibsecretStore::forget(const KeyringOperation* operation)
{
    std::erase_if(m_operations, [operation](const auto& one) { return one.get() == operation; });
    beginReady();
}

bool LibsecretStore::hasPendingChange() const
{
    return std::ranges::any_of(m_operations, [](const auto& operation) {
        return operation->kind() == KeyringOperation::Kind::Change && !operation->isAnswered();
    });
}

} // namespace platform::secrets
