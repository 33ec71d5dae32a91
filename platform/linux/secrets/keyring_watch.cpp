// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/keyring_watch.h"

#include <QPointer>

#include <string_view>
#include <utility>

namespace platform::secrets {

namespace {

/// A service that answers sooner than this may not be what was slow: it is believed now and then,
/// so that reading in vain does not go round and round.
constexpr qint64 kSlowMs = 200;
constexpr qint64 kNowAndThenMs = 60'000;

/// Whether the signal PropertiesChanged with `arguments` says that its keyring is unlocked now.
bool saysUnlocked(GVariant* arguments)
{
    const GlibOwned<GVariant> changed(g_variant_get_child_value(arguments, 1));
    gboolean isLocked = TRUE;
    return g_variant_lookup(changed.get(), "Locked", "b", &isLocked) && !isLocked;
}

} // namespace

KeyringWatch::~KeyringWatch()
{
    stop();
}

void KeyringWatch::start(const Hindrance& hindrance)
{
    if (m_hindrance.kind != Hindrance::Kind::None || !hasSessionBus())
        return;
    m_hindrance = hindrance;
    m_hasLookedForOwner = false;
    m_cancellable.reset(g_cancellable_new());
    g_bus_get(
        G_BUS_TYPE_SESSION,
        nullptr,
        continueAsync,
        asyncData([self = QPointer(this), wanted = m_cancellable.get()](GAsyncResult* result) {
            GlibOwned<GDBusConnection> bus = finishConnecting(result);
            if (bus != nullptr && self && self->m_cancellable.get() == wanted)
                self->subscribe(std::move(bus));
        }));
}

void KeyringWatch::stop()
{
    m_hindrance = {};
    if (m_cancellable != nullptr)
        g_cancellable_cancel(m_cancellable.get());
    m_cancellable.reset();
    unsubscribe();
}

void KeyringWatch::subscribe(GlibOwned<GDBusConnection> bus)
{
    m_bus = std::move(bus);
    m_closed =
        g_signal_connect(m_bus.get(),
                         "closed",
                         G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer watch) {
                             static_cast<KeyringWatch*>(watch)->stop();
                         }),
                         this);
    const auto listen = [this](const char* interface,
                               const char* member,
                               const char* about,
                               GDBusSignalCallback callback) {
        return g_dbus_connection_signal_subscribe(m_bus.get(),
                                                  kSecretService,
                                                  interface,
                                                  member,
                                                  nullptr,
                                                  about,
                                                  G_DBUS_SIGNAL_FLAGS_NONE,
                                                  callback,
                                                  this,
                                                  nullptr);
    };
    m_properties = listen("org.freedesktop.DBus.Properties",
                          "PropertiesChanged",
                          kCollection,
                          [](GDBusConnection*,
                             const gchar*,
                             const gchar*,
                             const gchar*,
                             const gchar*,
                             GVariant* arguments,
                             gpointer watch) {
                              if (saysUnlocked(arguments))
                                  static_cast<KeyringWatch*>(watch)->report();
                          });
    m_changes = listen("org.freedesktop.Secret.Service",
                       "CollectionChanged",
                       nullptr,
                       [](GDBusConnection*,
                          const gchar*,
                          const gchar*,
                          const gchar*,
                          const gchar*,
                          GVariant* arguments,
                          gpointer watch) {
                           const char* keyring = nullptr;
                           g_variant_get(arguments, "(&o)", &keyring);
                           static_cast<KeyringWatch*>(watch)->ask(keyring);
                       });
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

void KeyringWatch::unsubscribe()
{
    if (m_bus == nullptr)
        return;
    g_bus_unwatch_name(m_owner);
    g_dbus_connection_signal_unsubscribe(m_bus.get(), m_properties);
    g_dbus_connection_signal_unsubscribe(m_bus.get(), m_changes);
    g_signal_handler_disconnect(m_bus.get(), m_closed);
    m_bus.reset();
}

/// Called with what holds at first, and with every change.
void KeyringWatch::ownerIs(bool present)
{
    const bool isFirst = !std::exchange(m_hasLookedForOwner, true);
    if (!present)
        return;
    if (!isFirst || m_hindrance.kind == Hindrance::Kind::Absent)
        report();
    else if (!m_hindrance.keyring.empty())
        ask(m_hindrance.keyring.c_str());
}

void KeyringWatch::ask(const char* keyring)
{
    QElapsedTimer timer;
    timer.start();
    askForLock(
        m_bus.get(),
        keyring,
        m_cancellable.get(),
        asyncData(
            [self = QPointer(this), wanted = m_cancellable.get(), timer](GAsyncResult* result) {
                if (self && wanted == self->m_cancellable.get() && self->m_bus != nullptr)
                    self->answered(finishAskingForLock(self->m_bus.get(), result), timer.elapsed());
            }));
}

/// `lock` is what a keyring answered after `milliseconds`.
void KeyringWatch::answered(KeyringLock lock, qint64 milliseconds)
{
    if (m_hindrance.kind == Hindrance::Kind::Slow) {
        const bool isBelieved = milliseconds >= kSlowMs || !m_lastSlow.isValid() ||
                                m_lastSlow.hasExpired(kNowAndThenMs);
        if (lock == KeyringLock::NoService || !isBelieved)
            return; // the owner of the name is watched, too
        m_lastSlow.start();
        report();
    } else if (m_hindrance.kind == Hindrance::Kind::Locked && lock == KeyringLock::Unlocked) {
        report();
    }
}

void KeyringWatch::report()
{
    stop();
    // The last thing done here: whoever hears of it may start anew.
    Q_EMIT becameReadable();
}

} // namespace platform::secrets
