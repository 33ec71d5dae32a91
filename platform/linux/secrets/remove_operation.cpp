// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/remove_operation.h"

#include <utility>

namespace platform::secrets {

namespace {

bool isAlreadyGone(const GError* error)
{
    return g_error_matches(error, SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT);
}

} // namespace

RemoveOperation::RemoveOperation(const SecretName& name, std::chrono::milliseconds limit)
    : KeyringOperation(name, Kind::Change, limit)
{
    m_promise.start();
}

void RemoveOperation::opened()
{
    secret_service_search(service(),
                          secretSchema(),
                          attributesOf(name()).get(),
                          SECRET_SEARCH_ALL,
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
                              sort(items);
                              removeNext();
                          }));
}

/// Takes the list and what is in it.
void RemoveOperation::sort(GList* items)
{
    for (const GList* i = items; i != nullptr; i = i->next) {
        GlibOwned<SecretItem> item(SECRET_ITEM(i->data));
        auto& place = secret_item_get_locked(item.get()) ? m_locked : m_atHand;
        place.push_back(std::move(item));
    }
    g_list_free(items);
}

void RemoveOperation::removeNext()
{
    if (m_atHand.empty()) {
        unlock();
        return;
    }
    secret_item_delete(
        m_atHand.back().get(), kNotCancellable, continueAsync, next([this](GAsyncResult* result) {
            GError* failure = nullptr;
            secret_item_delete_finish(m_atHand.back().get(), result, &failure);
            const GlibOwned<GError> error(failure);
            if (error != nullptr && !isAlreadyGone(error.get()))
                m_isIncomplete = true;
            m_atHand.pop_back();
            removeNext();
        }));
}

void RemoveOperation::unlock()
{
    if (m_locked.empty()) {
        answer();
        return;
    }
    GList* items = nullptr;
    for (const auto& item : m_locked)
        items = g_list_prepend(items, item.get());
    secret_service_unlock(
        service(), items, kNotCancellable, continueAsync, next([this](GAsyncResult* result) {
            GList* unlocked = nullptr;
            GError* error = nullptr;
            secret_service_unlock_finish(service(), result, &unlocked, &error);
            if (error != nullptr) {
                failWith(error);
                return;
            }
            m_isIncomplete |= g_list_length(unlocked) < m_locked.size();
            m_locked.clear();
            for (const GList* i = unlocked; i != nullptr; i = i->next)
                m_atHand.emplace_back(SECRET_ITEM(i->data));
            g_list_free(unlocked);
            removeNext();
        }));
    g_list_free(items);
}

void RemoveOperation::fail(Failure /*failure*/)
{
    give(m_promise, false);
}

void RemoveOperation::answer()
{
    give(m_promise, !m_isIncomplete);
}

} // namespace platform::secrets
