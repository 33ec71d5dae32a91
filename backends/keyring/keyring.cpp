// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/keyring/keyring.h"

#include "backends/dbus/bus_address.h"
#include "base/build_config.h"

#include <coroutine>
#include <cstddef>
#include <libsecret/secret.h>
#include <string>
#include <utility>
#include <vector>

namespace platform::secrets {

Q_LOGGING_CATEGORY(lcSecrets, "velomira.secrets", QtCriticalMsg)

namespace {

using posix::GlibOwned;

/// One asynchronous call of GLib, to be awaited in the coroutine that it is a variable of:
///     GlibCall call;
///     g_bus_get(type, cancellable, GlibCall::end, &call);
///     bus.reset(g_bus_get_finish(co_await call, error.out()));
/// Every call must be awaited; one that is cancelled ends, too. The thread's default main context
/// must be turned.
class GlibCall final
{
public:
    GlibCall() = default;
    GlibCall(const GlibCall&) = delete;
    GlibCall& operator=(const GlibCall&) = delete;
    ~GlibCall() = default;

    /// The callback for the call, whose data is the object.
    static void end(GObject* /*source*/, GAsyncResult* result, gpointer call)
    {
        auto* const self = static_cast<GlibCall*>(call);
        self->m_result = posix::shareOf(result);
        self->m_waiting.resume(); // it may go with the coroutine that goes on
    }

    /// The result is this object's.
    auto operator co_await()
    {
        struct Awaiter
        {
            GlibCall& call;

            // NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked as a member
            [[nodiscard]] bool await_ready() const noexcept { return false; }

            void await_suspend(std::coroutine_handle<> waiting) { call.m_waiting = waiting; }

            [[nodiscard]] GAsyncResult* await_resume() const { return call.m_result.get(); }
        };

        return Awaiter{*this};
    }

private:
    GlibOwned<GAsyncResult> m_result;
    std::coroutine_handle<> m_waiting;
};

/// The error of the call that ended last.
class GlibError final
{
public:
    GlibError() = default;
    GlibError(const GlibError&) = delete;
    GlibError& operator=(const GlibError&) = delete;

    ~GlibError() { g_clear_error(&m_error); }

    [[nodiscard]] GError** out()
    {
        g_clear_error(&m_error);
        return &m_error;
    }

    [[nodiscard]] const GError* get() const { return m_error; }

private:
    GError* m_error = nullptr;
};

// Shown by the desktop's keyring manager.
constexpr const char* kLabel = "Velomira Usage Monitor sign-in";

/// For calls that may prompt. Cancelled, they dismiss the prompt, and gnome-keyring 42 ends with a
/// failed assertion when a prompt to unlock is dismissed, taking the user's other secrets out of
/// reach. So it stays on the screen, and whatever comes of it is not used any more.
constexpr std::nullptr_t kNotCancellable = nullptr;

/// How our secrets are filed.
const SecretSchema* secretSchema()
{
    constexpr auto kText = SECRET_SCHEMA_ATTRIBUTE_STRING;
    static const SecretSchema* const schema =
        secret_schema_new(std::string(kBundleIdentifier).c_str(),
                          SECRET_SCHEMA_NONE,
                          "service",
                          kText,
                          "account",
                          kText,
                          nullptr);
    return schema;
}

GlibOwned<GHashTable> attributesOf(const SecretName& name)
{
    const QByteArray service = name.service.toUtf8();
    const QByteArray account = name.account.toUtf8();
    return GlibOwned<GHashTable>(secret_attributes_build(
        secretSchema(), "service", service.constData(), "account", account.constData(), nullptr));
}

using Items = std::vector<GlibOwned<SecretItem>>;

/// Takes the list and the references in it.
Items itemsIn(GList* list)
{
    const GlibOwned<GList> owned(list);
    Items items;
    for (const GList* i = list; i != nullptr; i = i->next)
        items.emplace_back(SECRET_ITEM(i->data));
    return items;
}

bool isAlreadyGone(const GError* error)
{
    return g_error_matches(error, SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT);
}

/// What `error`, which may be null, says of the keyring: NoService or Failed.
KeyringState stateBehind(const GError* error)
{
    const bool isAbsent = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
                          g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER);
    return isAbsent ? KeyringState::NoService : KeyringState::Failed;
}

/// The answer to a question that ended with `error`, which is null where a prompt was dismissed.
Answer failure(const GlibError& error, GCancellable* cancellable)
{
    const GError* const why = error.get();
    if (!g_cancellable_is_cancelled(cancellable)) // else it was given up, which has been said
        qCWarning(lcSecrets,
                  "The keyring refused: %s",
                  why != nullptr ? why->message : "its prompt was dismissed");
    return {.state = stateBehind(why)};
}

/// The secret of `item`; none when it was not given to us.
std::optional<QByteArray> secretOf(SecretItem* item)
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
QString keyringOf(SecretItem* item)
{
    const QString path = QString::fromUtf8(g_dbus_proxy_get_object_path(G_DBUS_PROXY(item)));
    return path.left(path.lastIndexOf(u'/'));
}

Answer choose(const Items& items)
{
    Answer answer;
    guint64 newest = 0;
    for (const auto& item : items) {
        const guint64 modified = secret_item_get_modified(item.get());
        if (secret_item_get_locked(item.get())) {
            if (!answer.secret)
                answer = {.state = KeyringState::Locked, .keyring = keyringOf(item.get())};
        } else if (!answer.secret || modified >= newest) {
            if (auto secret = secretOf(item.get())) {
                answer = {.secret = std::move(secret)};
                newest = modified;
            }
        }
    }
    return answer;
}

// Those that follow have a service and a question that last as long as they do.

/// Null when there is none, or there is an error.
QCoro::Task<GlibOwned<SecretCollection>>
defaultKeyring(SecretService* service, GCancellable* cancellable, GlibError* error)
{
    constexpr const char* kAlias = SECRET_COLLECTION_DEFAULT;
    GlibCall call;
    secret_collection_for_alias(
        service, kAlias, SECRET_COLLECTION_NONE, cancellable, GlibCall::end, &call);
    GlibOwned<SecretCollection> keyring(
        secret_collection_for_alias_finish(co_await call, error->out()));
    co_return keyring;
}

QCoro::Task<Items>
search(SecretService* service, const Question* question, int flags, GlibError* error)
{
    const auto attributes = attributesOf(question->name);
    GlibCall call;
    secret_service_search(service,
                          secretSchema(),
                          attributes.get(),
                          // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): a set
                          static_cast<SecretSearchFlags>(flags),
                          question->cancellable.get(),
                          GlibCall::end,
                          &call);
    Items items = itemsIn(secret_service_search_finish(service, co_await call, error->out()));
    co_return items;
}

QCoro::Task<Answer> read(SecretService* service, const Question* question)
{
    constexpr int kAllWithTheirSecrets = SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS;
    GlibError error;
    const Items items = co_await search(service, question, kAllWithTheirSecrets, &error);
    if (error.get() != nullptr)
        co_return failure(error, question->cancellable.get());
    Answer answer = choose(items);
    if (!answer.secret && answer.state == KeyringState::Unlocked) {
        // A service need not show what a locked keyring holds.
        const auto keyring = co_await defaultKeyring(service, question->cancellable.get(), &error);
        if (keyring != nullptr && secret_collection_get_locked(keyring.get()))
            answer = {.state = KeyringState::Locked, .keyring = kDefaultKeyring};
    }
    co_return answer;
}

QCoro::Task<Answer> save(SecretService* service, const Question* question)
{
    GCancellable* const cancellable = question->cancellable.get();
    GlibError error;
    const auto keyring = co_await defaultKeyring(service, cancellable, &error);
    if (error.get() != nullptr)
        co_return failure(error, cancellable);
    // Storing would unlock by itself; but then what was given up meanwhile would be stored after
    // all, once somebody answers the prompt.
    if (keyring != nullptr && secret_collection_get_locked(keyring.get())) {
        const GlibOwned<GList> keyrings(g_list_prepend(nullptr, keyring.get()));
        GlibCall unlock;
        secret_service_unlock(service, keyrings.get(), kNotCancellable, GlibCall::end, &unlock);
        const gint unlocked =
            secret_service_unlock_finish(service, co_await unlock, nullptr, error.out());
        if (unlocked <= 0 || g_cancellable_is_cancelled(cancellable))
            co_return failure(error, cancellable);
    }
    const auto attributes = attributesOf(question->name);
    SecretValue* const value = secret_value_new(
        question->secret.constData(), static_cast<gssize>(question->secret.size()), "text/plain");
    GlibCall store;
    secret_service_store(service,
                         secretSchema(),
                         attributes.get(),
                         SECRET_COLLECTION_DEFAULT,
                         kLabel,
                         value,
                         kNotCancellable,
                         GlibCall::end,
                         &store);
    secret_value_unref(value);
    const bool isStored = secret_service_store_finish(service, co_await store, error.out());
    co_return isStored ? Answer() : failure(error, cancellable);
}

QCoro::Task<Answer> remove(SecretService* service, const Question* question)
{
    GCancellable* const cancellable = question->cancellable.get();
    GlibError error;
    Items items = co_await search(service, question, SECRET_SEARCH_ALL, &error);
    if (error.get() != nullptr)
        co_return failure(error, cancellable);
    Items atHand;
    Items locked;
    for (auto& item : items)
        (secret_item_get_locked(item.get()) ? locked : atHand).push_back(std::move(item));
    Answer answer;
    for (;;) {
        for (const auto& item : atHand) {
            GlibCall removal;
            secret_item_delete(item.get(), kNotCancellable, GlibCall::end, &removal);
            secret_item_delete_finish(item.get(), co_await removal, error.out());
            if (error.get() != nullptr && !isAlreadyGone(error.get()))
                answer = failure(error, cancellable);
            if (g_cancellable_is_cancelled(cancellable))
                co_return answer;
        }
        if (locked.empty())
            co_return answer;
        GlibOwned<GList> list;
        for (const auto& item : locked)
            list.reset(g_list_prepend(list.release(), item.get()));
        GlibCall unlock;
        secret_service_unlock(service, list.get(), kNotCancellable, GlibCall::end, &unlock);
        GList* unlocked = nullptr;
        secret_service_unlock_finish(service, co_await unlock, &unlocked, error.out());
        atHand = itemsIn(unlocked);
        if (atHand.size() < locked.size())
            answer = failure(error, cancellable);
        if (error.get() != nullptr || g_cancellable_is_cancelled(cancellable))
            co_return answer;
        locked.clear();
    }
}

QCoro::Task<Answer> look(SecretService* service, const Question* question)
{
    GlibError error;
    const auto keyring = co_await defaultKeyring(service, question->cancellable.get(), &error);
    if (error.get() != nullptr)
        co_return failure(error, question->cancellable.get());
    if (keyring == nullptr)
        co_return Answer{.state = KeyringState::Missing};
    const bool isLocked = secret_collection_get_locked(keyring.get());
    co_return Answer{.state = isLocked ? KeyringState::Locked : KeyringState::Unlocked};
}

QCoro::Task<Answer> askOf(SecretService* service, const Question* question)
{
    switch (question->kind) {
    case Question::Kind::Read:
        return read(service, question);
    case Question::Kind::Save:
        return save(service, question);
    case Question::Kind::Remove:
        return remove(service, question);
    case Question::Kind::Look:
        break;
    }
    return look(service, question);
}

/// The session bus; none where the environment leads to none (GLib would start one, with a keyring
/// of its own that nobody else sees) or it cannot be reached. Losing it will not end the process,
/// as GLib has it by default.
QCoro::Task<GlibOwned<GDBusConnection>> sessionBus()
{
    GlibOwned<GDBusConnection> bus;
    if (dbus::sessionBusAddress().isEmpty())
        co_return bus;
    // Without a GCancellable: all callers of the moment share one attempt, and would share its
    // being cancelled.
    GlibCall connecting;
    g_bus_get(G_BUS_TYPE_SESSION, nullptr, GlibCall::end, &connecting);
    GlibError error;
    bus.reset(g_bus_get_finish(co_await connecting, error.out()));
    if (bus == nullptr) {
        qCInfo(lcSecrets, "No session bus: %s", error.get()->message);
        co_return bus;
    }
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    if (g_dbus_connection_is_closed(bus.get()))
        bus.reset();
    co_return bus;
}

} // namespace

QCoro::Task<Answer> ask(std::shared_ptr<const Question> question)
{
    GCancellable* const cancellable = question->cancellable.get();
    const GlibOwned<GDBusConnection> bus = co_await sessionBus();
    if (bus == nullptr)
        co_return Answer{.state = KeyringState::NoBus};
    // A service for each question alone: the connection that libsecret keeps for the whole process
    // does not notice that the service was started anew.
    GlibCall opening;
    secret_service_open(
        SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, cancellable, GlibCall::end, &opening);
    GlibError error;
    const GlibOwned<SecretService> service(
        secret_service_open_finish(co_await opening, error.out()));
    if (service == nullptr)
        co_return failure(error, cancellable);
    Answer answer = co_await askOf(service.get(), question.get());
    co_return answer;
}

} // namespace platform::secrets
