// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/mutter_idle_time.h"

#include "backends/desktops/gnome/extension_state.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace platform::gnome {

using desktop::Presence;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds kIdle(1000);
constexpr milliseconds kLimit(2000); // nobody waits for it; a lost answer is a new beginning
constexpr milliseconds kPauseAfterFailure(5000);
constexpr qulonglong kLongest = 1ULL << 40U; // decades; what is longer is not meant

const QString kPath = QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core");
const QString kInterface = QStringLiteral("org.gnome.Mutter.IdleMonitor");

} // namespace

MutterIdleTime::MutterIdleTime(const QDBusConnection& sessionBus)
    : m_bus(sessionBus)
    , m_mutter(sessionBus, kInterface)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(kPauseAfterFailure);
    connect(&m_retry, &QTimer::timeout, this, &MutterIdleTime::begin);
    connect(&m_mutter, &desktop::BusNameOwner::changed, this, &MutterIdleTime::followOwner);
    m_bus.connect(QString(),
                  kPath,
                  kInterface,
                  QStringLiteral("WatchFired"),
                  this,
                  SLOT(hearWatch(QDBusMessage)));
    followOwner();
}

QString MutterIdleTime::name() const
{
    return kInterface;
}

double MutterIdleTime::secondsSinceLastInput()
{
    if (!m_lastInput)
        return std::numeric_limits<double>::quiet_NaN();
    if (m_isActive)
        return 0;
    return std::max(0.0, std::chrono::duration<double>(Clock::now() - *m_lastInput).count());
}

void MutterIdleTime::followOwner()
{
    const QString owner = m_mutter.owner();
    if (owner != m_peer) {
        m_peer = owner;
        m_retry.stop();
        begin();
    }
    if (owner.isEmpty())
        tell(m_mutter.isKnown() ? Presence::Absent : Presence::Asking);
}

void MutterIdleTime::begin()
{
    forget();
    if (m_peer.isEmpty())
        return;
    tell(Presence::Asking);
    call(m_idleWatchCall,
         QStringLiteral("AddIdleWatch"),
         {QVariant::fromValue(static_cast<qulonglong>(kIdle.count()))},
         [this](const QVariant& id) { m_idleWatch = id.toUInt(); });
    awaitInput();
    askIdleTime();
}

void MutterIdleTime::forget()
{
    m_idleWatchCall.forget();
    m_inputWatchCall.forget();
    m_idleTimeCall.forget();
    m_idleWatch = 0;
    m_inputWatch = 0;
    m_isActive = false;
    m_lastInput.reset();
}

// Before the question for the idle time: input between the two makes the watch fire.
void MutterIdleTime::awaitInput()
{
    if (m_inputWatch == 0 && !m_inputWatchCall.isAsked())
        call(m_inputWatchCall,
             QStringLiteral("AddUserActiveWatch"),
             {},
             [this](const QVariant& id) { m_inputWatch = id.toUInt(); });
}

void MutterIdleTime::askIdleTime()
{
    if (!m_idleTimeCall.isAsked())
        call(m_idleTimeCall, QStringLiteral("GetIdletime"), {}, [this](const QVariant& time) {
            const milliseconds idle(static_cast<qint64>(std::min(time.toULongLong(), kLongest)));
            m_lastInput = Clock::now() - idle;
            tell(Presence::Here);
        });
}

void MutterIdleTime::call(dbus::Question& question,
                          const QString& method,
                          const QVariantList& arguments,
                          std::function<void(const QVariant& answer)> take)
{
    question.ask<>(
        m_bus,
        dbus::callOf(m_peer, kPath, kInterface, method, arguments),
        [this, take = std::move(take)](const QDBusPendingReply<>& reply) {
            if (reply.isError())
                fail(reply.error());
            else
                take(reply.reply().arguments().value(0));
        },
        kLimit);
}

void MutterIdleTime::hearWatch(const QDBusMessage& message)
{
    const uint id = message.arguments().value(0).toUInt();
    if (id == 0 || message.service() != m_peer)
        return;
    if (id == m_inputWatch) {
        m_inputWatch = 0;
        m_isActive = true;
        m_lastInput = Clock::now();
    } else if (id == m_idleWatch) {
        m_isActive = false;
        m_lastInput = Clock::now() - kIdle;
        awaitInput();
        askIdleTime();
    }
}

void MutterIdleTime::fail(const QDBusError& error)
{
    qCInfo(lcGnome) << "the idle monitor does not answer:" << error.name();
    forget();
    tell(Presence::Absent);
    if (dbus::isSilence(error))
        m_retry.start();
}

void MutterIdleTime::tell(Presence presence)
{
    if (presence == m_presence)
        return;
    m_presence = presence;
    Q_EMIT presenceChanged();
}

} // namespace platform::gnome
