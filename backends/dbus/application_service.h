// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/application_call.h"
#include "backends/dbus/bus_address.h"
#include "platform/application_requests.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <chrono>
#include <cstdint>

namespace platform::dbus {

/// The running instance of the program as the session bus sees it: whoever owns the name
/// applicationName() is the one that runs, and is asked things there through
/// org.freedesktop.Application.
/// Main thread. Needs no application object until begin(), and no display. The thread that Qt
/// starts for its connections takes no signals of the process.
class ApplicationService final : public ApplicationRequests
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    enum class Claim : std::uint8_t {
        Primary,     ///< This process is the one that runs, until release().
        AnotherRuns, ///< Another process owns the name.
        NoBus,       ///< There is no session bus, or it does not answer; see problem().
    };

    /// On the bus at `address`, with a connection of its own. Connects only when asked to claim.
    explicit ApplicationService(QString address = sessionBusAddress());
    ApplicationService(const ApplicationService&) = delete;
    ApplicationService& operator=(const ApplicationService&) = delete;
    ~ApplicationService() override;

    /// Asks for the name; the object is there before, so that no call to the name is lost. May be
    /// repeated. Waits for the bus's answer at most `limit`.
    [[nodiscard]] Claim claim(std::chrono::milliseconds limit);

    /// Why the last claim found no bus, as one phrase.
    [[nodiscard]] const QString& problem() const { return m_problem; }

    /// Sends `message` over the connection that claim() made and waits for its answer, at most
    /// `limit`.
    [[nodiscard]] QDBusMessage ask(const QDBusMessage& message, std::chrono::milliseconds limit);

    /// The connection that claim() made, which owns the name; not connected before.
    [[nodiscard]] QDBusConnection connection() const { return m_bus; }

    /// Puts `call` before what others ask, as if it had come from outside.
    void askFirst(const ApplicationCall& call);

    /// From now on the signals tell what is asked, from the event loop; what has been asked before
    /// comes first, in order. To be called when the signals are connected.
    void begin();

    /// Gives the name back, and refuses whatever is still asked so that the asker looks anew: the
    /// next start becomes the one that runs. Does not wait. To be called first thing when the
    /// program begins to end.
    void release();

    /// The address of the bus.
    [[nodiscard]] const QString& address() const { return m_address; }

    // What others on the bus call (Desktop Entry Specification, "D-Bus Activation"). Calls of other
    // types are answered with an error by Qt, those beyond a limit by this class.
    // NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.
    Q_SCRIPTABLE Q_SLOT void Activate(const QVariantMap& platformData, const QDBusMessage& message);
    Q_SCRIPTABLE Q_SLOT void
    Open(const QStringList& uris, const QVariantMap& platformData, const QDBusMessage& message);
    Q_SCRIPTABLE Q_SLOT void ActivateAction(const QString& name,
                                            const QVariantList& parameter,
                                            const QVariantMap& platformData,
                                            const QDBusMessage& message);
    // NOLINTEND(readability-identifier-naming)

Q_SIGNALS:
    /// The session bus went away; nothing can be asked of this instance any more. Once.
    void connectionLost();

    /// Something waits to be told. For this class alone.
    void callsWait();

private:
    /// Takes what came with `message`, or refuses it while the program ends or when far too much
    /// waits.
    void take(const QList<ApplicationCall>& calls, const QDBusMessage& message);
    /// What answers `message`, which is not answered otherwise.
    [[nodiscard]] Answer answerTo(const QDBusMessage& message) const;
    void refuse(const QDBusMessage& message, QDBusError::ErrorType type, const QString& text);
    [[nodiscard]] bool connectToBus(std::chrono::milliseconds limit);
    void tellWaiting();
    void tell(const ApplicationCall& call);

    QString m_address;
    QString m_connectionName;
    QDBusConnection m_bus;
    QString m_problem;
    QList<ApplicationCall> m_waiting;
    bool m_hasBegun = false;
    bool m_isEnding = false;
};

} // namespace platform::dbus
