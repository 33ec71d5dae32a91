// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/bus_address.h"
#include "base/result.h"
#include "platform/app_activation.h"
#include "platform/application_requests.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QLatin1StringView>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <chrono>
#include <cstdint>
#include <optional>

namespace platform::dbus {

/// The bus name that the one running instance owns, its object (Desktop Entry Specification,
/// "D-Bus Activation": the name with slashes for dots) and what the object speaks.
[[nodiscard]] QString applicationName();
[[nodiscard]] QString applicationPath();
inline constexpr const char* kApplicationInterface = "org.freedesktop.Application";

/// One thing asked of the application.
struct ApplicationCall
{
    enum class Kind : std::uint8_t {
        Activate,
        Open,   ///< `text` is the address
        Action, ///< `text` is the name of the action
        Task,   ///< an action whose asker waits; `text` is its name
    };

    Kind kind = Kind::Activate;
    QString text;
    ActivationToken token;
    // NOLINTNEXTLINE(readability-redundant-member-init): most callers leave it out
    ApplicationRequests::Answer answer = {}; ///< of a task that came over the bus
};

/// The token in a call's platform data: "activation-token", else "desktop-startup-id".
[[nodiscard]] ActivationToken tokenIn(const QVariantMap& platformData);

/// The platform data that carries the tokens which this process was started with, in
/// XDG_ACTIVATION_TOKEN and DESKTOP_STARTUP_ID.
[[nodiscard]] QVariantMap platformDataOfThisProcess();

/// The message that asks `call` of the running instance; it starts none. Its platform data is
/// `platformData`, whatever the call's token.
[[nodiscard]] QDBusMessage messageFor(const ApplicationCall& call, const QVariantMap& platformData);

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

class ApplicationService;

/// What came of a start of the program.
struct StartResult
{
    enum class Kind : std::uint8_t {
        First,      ///< No other instance runs; this one owns the name now.
        HandedOver, ///< The instance that runs has taken the request; this process is to end.
        Alone,      ///< No session bus: nobody can be asked, and nobody can ask.
        Failed,     ///< Another instance runs, but does not take the request.
    };

    Kind kind;
    QString text; ///< Why, for Alone and Failed.
};

/// Makes this process the instance that runs or hands `request` to the one that does, with the
/// activation tokens that this process was started with. No request (what the bus starts has none:
/// what it was started for follows) is nothing to hand over. Of a first instance the request
/// becomes its own, told after ApplicationService::begin(); a mere Activate does not, since
/// starting answers it.
/// An instance that ends meanwhile is no failure: this one takes its place. Blocks, usually for
/// some milliseconds, at most about `limit`; needs no application object.
[[nodiscard]] StartResult
claimOrHandOver(ApplicationService& service,
                const std::optional<ApplicationCall>& request,
                std::chrono::milliseconds limit = std::chrono::seconds(3));

/// Has the instance that runs, if any is on `bus`, do `task` (platform::tasks) and waits until it
/// is done. None when no instance runs; an error, with the text to tell the user, when one does not
/// answer within `limit` or could not do it. Starts no instance. Blocks.
[[nodiscard]] std::optional<Outcome>
askRunningInstance(const QDBusConnection& bus,
                   QLatin1StringView task,
                   std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace platform::dbus
