// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QLatin1StringView>
#include <QLoggingCategory>
#include <QObject>
#include <QString>
#include <QVariantList>

#include <chrono>
#include <limits>
#include <memory>
#include <utility>

namespace platform::dbus {

// For developers; off by default. Names of services and kinds of errors, nothing of the user's.
Q_DECLARE_LOGGING_CATEGORY(lcBus)

/// For answers that nobody waits for; usual is a millisecond.
inline constexpr std::chrono::milliseconds kAnswerLimit = std::chrono::seconds(5);
/// D-Bus's own value for "no time limit".
inline constexpr std::chrono::milliseconds kForEver(std::numeric_limits<int>::max());

inline constexpr QLatin1StringView kPropertiesInterface("org.freedesktop.DBus.Properties");

/// A call that starts no service. Any thread.
[[nodiscard]] QDBusMessage callOf(const QString& service,
                                  const QString& path,
                                  const QString& interface,
                                  const QString& method,
                                  const QVariantList& arguments = {});

/// A call that reads a property; its answer is a QDBusVariant. Any thread.
[[nodiscard]] QDBusMessage readOf(const QString& service,
                                  const QString& path,
                                  const QString& interface,
                                  const QString& property);

/// A call of the bus itself (D-Bus Specification, "Message Bus Messages"). Any thread.
[[nodiscard]] QDBusMessage busCall(QLatin1StringView method, const QVariantList& arguments = {});

/// The bus is asked for the process of whoever has that name: an unsigned number. Any thread.
[[nodiscard]] inline QDBusMessage processOf(const QString& name)
{
    return busCall(QLatin1StringView("GetConnectionUnixProcessID"), {name});
}

/// Whether `error` says that the peer kept silent, and not that it refused.
[[nodiscard]] bool isSilence(const QDBusError& error);

/// Whether `error` says that nobody has the name that was called.
[[nodiscard]] bool isAbsence(const QDBusError& error);

/// Sends `message` and calls handler(const QDBusPendingReply<Values...>&) from the event loop with
/// the answer, or with the error when there is none within `limit` or it is not one of `Values`;
/// not once `context` has gone. Thread of `context`; does not wait.
template <typename... Values, typename Handler>
void ask(const QDBusConnection& bus,
         const QDBusMessage& message,
         QObject* context,
         Handler handler,
         std::chrono::milliseconds limit = kAnswerLimit)
{
    auto* const watcher = new QDBusPendingCallWatcher(
        bus.asyncCall(message, static_cast<int>(limit.count())), context);
    QObject::connect(watcher,
                     &QDBusPendingCallWatcher::finished,
                     context,
                     [watcher, handler = std::move(handler)]() mutable {
                         watcher->deleteLater();
                         const QDBusPendingReply<Values...> reply = *watcher;
                         if (reply.isError())
                             qCDebug(lcBus) << "no answer:" << reply.error().name();
                         handler(reply);
                     });
}

/// The one question to a peer whose answer still matters; a cancellation token: the next question,
/// forget() and the end of this object drop the answer to the former one.
/// Thread of its creation, with an event loop.
class Question final
{
public:
    /// As ask() above; when the handler is called, nothing is asked any more.
    template <typename... Values, typename Handler>
    void ask(const QDBusConnection& bus,
             const QDBusMessage& message,
             Handler handler,
             std::chrono::milliseconds limit = kAnswerLimit)
    {
        m_context = std::make_unique<QObject>();
        dbus::ask<Values...>(
            bus,
            message,
            m_context.get(),
            [this, handler = std::move(handler)](const QDBusPendingReply<Values...>& r) mutable {
                m_context.release()->deleteLater(); // it is what calls
                handler(r);
            },
            limit);
    }

    void forget() { m_context.reset(); }

    [[nodiscard]] bool isAsked() const { return m_context != nullptr; }

private:
    std::unique_ptr<QObject> m_context;
};

} // namespace platform::dbus
