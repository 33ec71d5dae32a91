// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/gnome_front_window.h"

#include "platform/linux/dbus/application_call.h"
#include "platform/linux/gnome/extension_answer.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <chrono>

namespace platform::gnome {

using desktop::Presence;

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAnswerLimit(200);
constexpr milliseconds kShortestPause(250);
constexpr milliseconds kPauseAfterNone(50);
constexpr milliseconds kPauseAfterSilence(1000);
constexpr milliseconds kPatience(5000); // so long a peer may be silent without counting as gone

const QString kChanged = QStringLiteral("Changed");

QString extensionName()
{
    return dbus::applicationName() + QStringLiteral(".FrontWindow");
}

QString extensionPath()
{
    return dbus::applicationPath() + QStringLiteral("/FrontWindow");
}

} // namespace

GnomeFrontWindow::GnomeFrontWindow(const QDBusConnection& sessionBus)
    : m_bus(sessionBus)
    , m_shell(sessionBus, QStringLiteral("org.gnome.Shell"))
    , m_extension(sessionBus, extensionName())
    , m_question(sessionBus)
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, [this] {
        if (m_isDue)
            ask();
    });
    connect(&m_shell, &desktop::BusNameOwner::changed, this, &GnomeFrontWindow::followOwners);
    connect(&m_extension, &desktop::BusNameOwner::changed, this, &GnomeFrontWindow::followOwners);
    connect(&m_question, &ExtensionQuestion::changed, this, [this] { tell(m_presence); });
    followOwners();
}

GnomeFrontWindow::~GnomeFrontWindow() = default;

QString GnomeFrontWindow::name() const
{
    return QStringLiteral("GNOME Shell extension");
}

void GnomeFrontWindow::followOwners()
{
    const QString& shell = m_shell.owner();
    if (!shell.isEmpty() && shell != m_lastShell) {
        m_lastShell = shell;
        ++m_shells; // it numbers its windows anew
    }
    const bool isOurs = !shell.isEmpty() && m_extension.owner() == shell;
    setPeer(isOurs ? shell : QString());
    m_question.setShell(m_extension.isKnown() && !isOurs ? shell : QString());
    if (!isOurs)
        tell(m_shell.isKnown() && m_extension.isKnown() ? Presence::Absent : Presence::Asking);
}

void GnomeFrontWindow::setPeer(const QString& peer)
{
    if (peer == m_peer)
        return;
    if (!m_peer.isEmpty())
        m_bus.disconnect(m_peer, extensionPath(), extensionName(), kChanged, this, SLOT(ask()));
    m_peer = peer;
    m_call.reset();
    m_pause.stop();
    m_isDue = false;
    m_silence.invalidate();
    m_window.reset();
    if (m_peer.isEmpty())
        return;
    m_bus.connect(m_peer, extensionPath(), extensionName(), kChanged, this, SLOT(ask()));
    tell(Presence::Asking);
    ask();
}

void GnomeFrontWindow::ask()
{
    m_isDue = m_call || m_pause.isActive();
    if (m_isDue || m_peer.isEmpty())
        return;
    const QDBusMessage question = QDBusMessage::createMethodCall(
        m_peer, extensionPath(), extensionName(), QStringLiteral("Get"));
    m_call = std::make_unique<QDBusPendingCallWatcher>(
        m_bus.asyncCall(question, static_cast<int>(kAnswerLimit.count())));
    connect(m_call.get(), &QDBusPendingCallWatcher::finished, this, &GnomeFrontWindow::readReply);
    m_pause.start(kShortestPause);
}

void GnomeFrontWindow::readReply()
{
    const QDBusMessage reply = m_call->reply();
    m_call.release()->deleteLater(); // it is what calls
    if (reply.type() != QDBusMessage::ReplyMessage) {
        fail(QDBusError(reply));
        return;
    }
    m_silence.invalidate();
    m_window = readAnswer(reply.arguments(), m_shells);
    // Between two windows there is none for a moment, and the second one is not to wait long.
    if (!m_window)
        m_pause.start(kPauseAfterNone);
    tell(Presence::Here);
    if (m_isDue)
        ask();
}

void GnomeFrontWindow::fail(const QDBusError& error)
{
    m_window.reset();
    if (error.type() == QDBusError::AccessDenied) {
        tell(Presence::Here); // it works, but for the instance of this program that has the name
        return;
    }
    // Any other error says that asking again is no use: the extension announces itself when it has
    // something for us.
    if (error.type() != QDBusError::NoReply && error.type() != QDBusError::TimedOut &&
        error.type() != QDBusError::Timeout) {
        tell(Presence::Absent);
        if (m_isDue)
            ask();
        return;
    }
    if (!m_silence.isValid())
        m_silence.start();
    const bool isGone = m_silence.hasExpired(kPatience.count());
    m_isDue = true;
    m_pause.start(isGone ? kPatience : kPauseAfterSilence);
    if (isGone)
        tell(Presence::Absent);
}

void GnomeFrontWindow::tell(Presence presence)
{
    const QString advice = presence == Presence::Absent ? adviceFor(m_question.state()) : QString();
    if (presence == m_presence && advice == m_advice)
        return;
    m_presence = presence;
    m_advice = advice;
    Q_EMIT presenceChanged();
}

} // namespace platform::gnome
