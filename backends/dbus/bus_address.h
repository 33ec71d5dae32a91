// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>
#include <vector>

namespace platform::dbus {

/// The address of the session bus as the environment gives it: DBUS_SESSION_BUS_ADDRESS, else the
/// socket "bus" in XDG_RUNTIME_DIR. Empty when neither leads to one: a library would start a bus of
/// its own then, which nobody else sees. Any thread.
[[nodiscard]] QString sessionBusAddress();

/// `address` without what only the bus that is there now answers to: a bus that takes its place has
/// another identity ("guid", D-Bus Specification, "Server Addresses"). Any thread.
[[nodiscard]] QString withoutIdentity(const QString& address);

/// Whether the bus at `address` hangs: somebody accepts connections, but has said nothing within
/// `limit`. Connecting would wait for ever then. False where that cannot be told, as for other
/// transports than local sockets. Any thread.
[[nodiscard]] bool isSilent(const QString& address, std::chrono::milliseconds limit);

/// The address of the system bus (D-Bus Specification, "Well-known Message Bus Instances").
/// Any thread.
[[nodiscard]] QString systemBusAddress();

/// A connection to the bus at `address`, known to Qt as `name`, which must be new. Not connected
/// where nobody answers within `limit` or the address is empty. Blocks that long at most, where
/// that can be told (see isSilent()). Main thread.
[[nodiscard]] QDBusConnection
connectionTo(const QString& address, const QString& name, std::chrono::milliseconds limit);

/// Has `slot` of `receiver` called, as by QObject::connect(), when the connection has ended.
void connectToLoss(QDBusConnection bus, QObject* receiver, const char* slot);

/// Waits for a session bus that has gone away. It is back when it answers: a daemon that is being
/// ended, and what it started, may keep its socket open for a while and take connections that
/// nobody will serve. Only transports over local sockets ("unix:path=", "unix:abstract=") are
/// tried.
/// Thread of its creation, which needs an event loop; blocks nowhere.
class BusReturn final : public QObject
{
    Q_OBJECT

public:
    /// Looks for a bus at `address` (D-Bus Specification, "Server Addresses") first after
    /// `interval`, then at intervals that double up to `longest`.
    explicit BusReturn(QString address,
                       std::chrono::milliseconds interval = std::chrono::seconds(1),
                       std::chrono::milliseconds longest = std::chrono::seconds(30));
    ~BusReturn() override;

    /// Begins to look; nothing when it already does.
    void start();

Q_SIGNALS:
    /// A bus answers at the address again. Once for each start().
    void busIsBack();

private:
    struct Question;

    void look();
    void ask(const QByteArray& server);
    void listen(Question& question);

    QString m_address;
    std::chrono::milliseconds m_interval;
    std::chrono::milliseconds m_longest;
    QTimer m_timer;
    std::vector<std::unique_ptr<Question>> m_questions; ///< that nobody has answered yet
};

} // namespace platform::dbus
