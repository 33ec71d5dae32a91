// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/mutter_idle_time.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <limits>

namespace platform::gnome {

using desktop::Presence;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds kIdle(1000);
constexpr milliseconds kAnswerLimit(2000); // nobody waits for it; a lost answer is a new beginning
constexpr milliseconds kPauseAfterFailure(5000);
constexpr qulonglong kLongest = 1ULL << 40U; // decades; what is longer is not meant

const QString kPath = QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core");
const QString kInterface = QStringLiteral("org.gnome.Mutter.IdleMonitor");
const QString kWatchFired = QStringLiteral("WatchFired");

} // namespace

MutterIdleTime::MutterIdleTime(const QDBusConnection& sessionBus)
    : m_bus(sessionBus)
    , m_mutter(sessionBus, kInterface)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(kPauseAfterFailure);
    connect(&m_retry, &QTimer::timeout, this, &MutterIdleTime::begin);
    connect(&m_mutter, &desktop::BusNameOwner::changed, this, &MutterIdleTime::followOwner);
    followOwner();
}

MutterIdleTime::~MutterIdleTime() = default;

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
        listen(false);
        m_peer = owner;
        listen(true);
        m_retry.stop();
        begin();
    }
    if (owner.isEmpty())
        tell(m_mutter.isKnown() ? Presence::Absent : Presence::Asking);
}

void MutterIdleTime::listen(bool on)
{
    if (m_peer.isEmpty())
        return;
    const char* const slot = SLOT(hearWatch(QDBusMessage));
    if (on)
        m_bus.connect(m_peer, kPath, kInterface, kWatchFired, this, slot);
    else
        m_bus.disconnect(m_peer, kPath, kInterface, kWatchFired, this, slot);
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
         &MutterIdleTime::keepIdleWatch);
    awaitInput();
    askIdleTime();
}

void MutterIdleTime::forget()
{
    m_idleWatchCall.reset();
    m_inputWatchCall.reset();
    m_idleTimeCall.reset();
    m_idleWatch = 0;
    m_inputWatch = 0;
    m_isActive = false;
    m_lastInput.reset();
}

// Before the question for the idle time: input between the two makes the watch fire.
void MutterIdleTime::awaitInput()
{
    if (m_inputWatch == 0 && !m_inputWatchCall)
        call(m_inputWatchCall,
             QStringLiteral("AddUserActiveWatch"),
             {},
             &MutterIdleTime::keepInputWatch);
}

void MutterIdleTime::askIdleTime()
{
    if (!m_idleTimeCall)
        call(m_idleTimeCall, QStringLiteral("GetIdletime"), {}, &MutterIdleTime::keepIdleTime);
}

void MutterIdleTime::call(Call& slot,
                          const QString& method,
                          const QVariantList& arguments,
                          Taker taker)
{
    QDBusMessage question = QDBusMessage::createMethodCall(m_peer, kPath, kInterface, method);
    question.setArguments(arguments);
    slot = std::make_unique<QDBusPendingCallWatcher>(
        m_bus.asyncCall(question, static_cast<int>(kAnswerLimit.count())));
    connect(slot.get(), &QDBusPendingCallWatcher::finished, this, [this, &slot, taker] {
        const QDBusMessage reply = slot->reply();
        slot.release()->deleteLater(); // it is what calls
        if (reply.type() == QDBusMessage::ReplyMessage)
            (this->*taker)(reply.arguments().value(0));
        else
            fail(QDBusError(reply));
    });
}

void MutterIdleTime::keepIdleWatch(const QVariant& id)
{
    m_idleWatch = id.toUInt();
}

void MutterIdleTime::keepInputWatch(const QVariant& id)
{
    m_inputWatch = id.toUInt();
}

void MutterIdleTime::keepIdleTime(const QVariant& time)
{
    const milliseconds idle(static_cast<qint64>(std::min(time.toULongLong(), kLongest)));
    m_lastInput = Clock::now() - idle;
    tell(Presence::Here);
}

void MutterIdleTime::hearWatch(const QDBusMessage& message)
{
    const uint id = message.arguments().value(0).toUInt();
    if (id == 0)
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
    forget();
    tell(Presence::Absent);
    if (error.type() == QDBusError::NoReply || error.type() == QDBusError::TimedOut ||
        error.type() == QDBusError::Timeout)
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
