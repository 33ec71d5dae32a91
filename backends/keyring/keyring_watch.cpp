// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/keyring/keyring_watch.h"

#include "backends/keyring/glib_call.h"

#include <string_view>
#include <utility>

namespace platform::secrets {

namespace {

constexpr const char* kCollection = "org.freedesktop.Secret.Collection";

/// A service that answers sooner than this may not be what was slow: it is believed now and then,
/// so that reading in vain does not go round and round.
constexpr qint64 kSlowMs = 200;
constexpr qint64 kNowAndThenMs = 60'000;

/// Whether the signal PropertiesChanged with `arguments` says that a keyring is unlocked now.
bool saysUnlocked(GVariant* arguments)
{
    if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sa{sv}as)")))
        return false;
    const char* interface = nullptr;
    GVariant* properties = nullptr;
    g_variant_get(arguments, "(&s@a{sv}as)", &interface, &properties, nullptr);
    const GlibOwned<GVariant> changed(properties);
    gboolean isLocked = TRUE;
    return std::string_view(interface) == kCollection &&
           g_variant_lookup(changed.get(), "Locked", "b", &isLocked) && !isLocked;
}

/// Whether the keyring at the object path `keyring` is locked. Starts no service, never prompts,
/// and waits for ever: it is for `cancellable` to end it. All must last until the answer.
QCoro::Task<KeyringState>
stateOf(GDBusConnection* bus, const char* keyring, GCancellable* cancellable)
{
    GlibCall call;
    g_dbus_connection_call(bus,
                           kSecretService,
                           keyring,
                           "org.freedesktop.DBus.Properties",
                           "Get",
                           g_variant_new("(ss)", kCollection, "Locked"),
                           G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START,
                           G_MAXINT,
                           cancellable,
                           GlibCall::end,
                           &call);
    GlibError error;
    const GlibOwned<GVariant> reply(g_dbus_connection_call_finish(bus, co_await call, error.out()));
    if (reply == nullptr)
        co_return stateBehind(error.get());
    const GlibOwned<GVariant> variant(g_variant_get_child_value(reply.get(), 0));
    const GlibOwned<GVariant> value(g_variant_get_variant(variant.get()));
    if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN))
        co_return KeyringState::Failed;
    co_return g_variant_get_boolean(value.get()) ? KeyringState::Locked : KeyringState::Unlocked;
}

} // namespace

KeyringWatch::~KeyringWatch()
{
    stop();
}

void KeyringWatch::start(const Answer& answer)
{
    if (m_cancellable != nullptr)
        return;
    m_hindrance = answer.state;
    m_keyring = answer.keyring;
    m_hasLookedForOwner = false;
    m_cancellable.reset(g_cancellable_new());
    listen();
}

void KeyringWatch::stop()
{
    if (m_cancellable != nullptr)
        g_cancellable_cancel(m_cancellable.get());
    m_cancellable.reset();
    if (m_bus == nullptr)
        return;
    g_bus_unwatch_name(m_owner);
    g_dbus_connection_signal_unsubscribe(m_bus.get(), m_properties);
    g_dbus_connection_signal_unsubscribe(m_bus.get(), m_changes);
    g_signal_handler_disconnect(m_bus.get(), m_closed);
    m_bus.reset();
}

QCoro::Task<> KeyringWatch::listen()
{
    const auto cancellable = posix::shareOf(m_cancellable.get());
    GlibOwned<GDBusConnection> bus = co_await sessionBus();
    if (g_cancellable_is_cancelled(cancellable.get()))
        co_return; // it has stopped, and may be gone
    m_bus = std::move(bus);
    if (m_bus != nullptr)
        subscribe();
    else
        stop();
}

void KeyringWatch::subscribe()
{
    m_closed =
        g_signal_connect(m_bus.get(),
                         "closed",
                         G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer watch) {
                             static_cast<KeyringWatch*>(watch)->stop();
                         }),
                         this);
    // Nothing of what the service tells of single items, which name the user's other secrets.
    const auto hearOf = [this](const char* interface, const char* member, const char* about) {
        return g_dbus_connection_signal_subscribe(m_bus.get(),
                                                  kSecretService,
                                                  interface,
                                                  member,
                                                  nullptr,
                                                  about,
                                                  G_DBUS_SIGNAL_FLAGS_NONE,
                                                  &KeyringWatch::hear,
                                                  this,
                                                  nullptr);
    };
    m_properties = hearOf("org.freedesktop.DBus.Properties", "PropertiesChanged", kCollection);
    m_changes = hearOf("org.freedesktop.Secret.Service", "CollectionChanged", nullptr);
    m_owner = g_bus_watch_name_on_connection(
        m_bus.get(),
        kSecretService,
        G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, gpointer watch) {
            static_cast<KeyringWatch*>(watch)->ownerIs(true);
        },
        [](GDBusConnection*, const gchar*, gpointer watch) {
            static_cast<KeyringWatch*>(watch)->ownerIs(false);
        },
        this,
        nullptr);
}

/// A signal of the service.
void KeyringWatch::hear(GDBusConnection* /*bus*/,
                        const gchar* /*sender*/,
                        const gchar* /*path*/,
                        const gchar* /*interface*/,
                        const gchar* signal,
                        GVariant* arguments,
                        gpointer watch)
{
    auto* const self = static_cast<KeyringWatch*>(watch);
    const std::string_view name = signal;
    if (name == "PropertiesChanged" && saysUnlocked(arguments)) {
        self->report();
    } else if (name == "CollectionChanged" &&
               g_variant_is_of_type(arguments, G_VARIANT_TYPE("(o)"))) {
        const char* keyring = nullptr;
        g_variant_get(arguments, "(&o)", &keyring);
        self->ask(keyring);
    }
}

/// Called with what holds at first, and with every change.
void KeyringWatch::ownerIs(bool present)
{
    const bool isFirst = !std::exchange(m_hasLookedForOwner, true);
    if (!present)
        return;
    if (!isFirst || m_hindrance == KeyringState::NoService)
        report();
    else if (!m_keyring.empty())
        ask(m_keyring);
}

QCoro::Task<> KeyringWatch::ask(std::string keyring)
{
    const auto cancellable = posix::shareOf(m_cancellable.get());
    const auto bus = posix::shareOf(m_bus.get());
    QElapsedTimer timer;
    timer.start();
    const KeyringState state = co_await stateOf(bus.get(), keyring.c_str(), cancellable.get());
    if (!g_cancellable_is_cancelled(cancellable.get())) // else it may be gone
        keyringIs(state, timer.elapsed());
}

/// `state` is what a keyring answered after `milliseconds`.
void KeyringWatch::keyringIs(KeyringState state, qint64 milliseconds)
{
    if (m_hindrance == KeyringState::Slow) {
        const bool isBelieved = milliseconds >= kSlowMs || !m_lastSlow.isValid() ||
                                m_lastSlow.hasExpired(kNowAndThenMs);
        if (state == KeyringState::NoService || !isBelieved)
            return; // the owner of the name is watched, too
        m_lastSlow.start();
        report();
    } else if (m_hindrance == KeyringState::Locked && state == KeyringState::Unlocked) {
        report();
    }
}

void KeyringWatch::report()
{
    qCInfo(lcSecrets, "The keyring may be readable now");
    stop();
    // The last thing done here: whoever hears of it may start anew.
    Q_EMIT becameReadable();
}

} // namespace platform::secrets
