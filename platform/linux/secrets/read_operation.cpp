// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/read_operation.h"

#include "platform/linux/secrets/session_bus.h"

#include <string>
#include <utility>

namespace platform::secrets {

namespace {

// Flags of C, which add up.
constexpr int kEveryItemWithItsSecret = SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;

/// The secret of `item`; none when it was not given to us.
ReadOperation::Secret secretOf(SecretItem* item)
{
    SecretValue* const value = secret_item_get_secret(item);
    if (value == nullptr)
        return std::nullopt;
    gsize size = 0;
    const char* const bytes = secret_value_get(value, &size);
    QByteArray secret(bytes, static_cast<qsizetype>(size));
    secret_value_unref(value);
    return secret;
}

/// The object path of the keyring that `item` is in: it is the parent of the item's own.
std::string keyringOf(SecretItem* item)
{
    const std::string path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(item));
    return path.substr(0, path.rfind('/'));
}

} // namespace

ReadOperation::ReadOperation(const SecretName& name, std::chrono::milliseconds limit)
    : KeyringOperation(name, Kind::Look, limit)
{
    m_promise.start();
}

void ReadOperation::opened()
{
    secret_service_search(service(),
                          secretSchema(),
                          attributesOf(name()).get(),
                          // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange)
                          static_cast<SecretSearchFlags>(kEveryItemWithItsSecret),
                          cancellable(),
                          continueAsync,
                          next([this](GAsyncResult* result) {
                              GError* error = nullptr;
                              GList* items =
                                  secret_service_search_finish(service(), result, &error);
                              if (error != nullptr) {
                                  failWith(error);
                                  return;
                              }
                              choose(items);
                              g_list_free_full(items, g_object_unref);
                          }));
}

void ReadOperation::choose(GList* items)
{
    Secret newest;
    guint64 newestTime = 0;
    for (const GList* i = items; i != nullptr; i = i->next) {
        SecretItem* const item = SECRET_ITEM(i->data);
        if (secret_item_get_locked(item)) {
            m_hindrance = {.kind = Hindrance::Kind::Locked, .keyring = keyringOf(item)};
            continue;
        }
        const guint64 time = secret_item_get_modified(item);
        if (newest && time < newestTime)
            continue;
        if (Secret secret = secretOf(item)) {
            newest = std::move(secret);
            newestTime = time;
        }
    }
    if (newest)
        m_hindrance = {};
    if (newest || m_hindrance.kind != Hindrance::Kind::None) {
        answer(std::move(newest));
    } else {
        lookAtTheDefaultKeyring();
    }
}

/// A service need not show what a locked keyring holds.
void ReadOperation::lookAtTheDefaultKeyring()
{
    askForLock(bus(), kDefaultKeyring, cancellable(), next([this](GAsyncResult* result) {
                   if (finishAskingForLock(bus(), result) == KeyringLock::Locked)
                       m_hindrance = {.kind = Hindrance::Kind::Locked, .keyring = kDefaultKeyring};
                   answer(std::nullopt);
               }));
}

void ReadOperation::fail(Failure failure)
{
    if (failure == Failure::NoService)
        m_hindrance.kind = Hindrance::Kind::Absent;
    else if (failure == Failure::TimedOut)
        m_hindrance = {.kind = Hindrance::Kind::Slow, .keyring = kDefaultKeyring};
    else if (failure == Failure::Other)
        m_hindrance.kind = Hindrance::Kind::Failed;
    give(m_promise, Secret());
}

void ReadOperation::answer(Secret secret)
{
    give(m_promise, std::move(secret));
}

} // namespace platform::secrets
