// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/gnome_front_window.h"

#include "backends/dbus/application_service.h"
#include "backends/xdg/desktop_entry_index.h"
#include "base/exact_utf8.h"

#include <QByteArray>
#include <QMetaType>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <utility>

namespace platform::gnome {

using desktop::Presence;

Q_LOGGING_CATEGORY(lcGnome, "velomira.gnome", QtCriticalMsg)

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLimit(200); // of an answer
constexpr milliseconds kShortestPause(250);
constexpr milliseconds kPauseAfterNone(50);
constexpr milliseconds kPauseAfterSilence(1000);
constexpr milliseconds kPatience(5000); // so long a peer may be silent without counting as gone

QString extensionName()
{
    return dbus::applicationName() + QStringLiteral(".FrontWindow");
}

QString extensionPath()
{
    return dbus::applicationPath() + QStringLiteral("/FrontWindow");
}

enum Field : std::uint8_t { Window, DesktopId, Name, Title, WindowClass, Process, Count };

bool hasTheRightTypes(const QVariantList& values)
{
    static constexpr std::array<QMetaType::Type, Count> kTypes{QMetaType::ULongLong,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::Int};
    return std::ranges::equal(values, kTypes, [](const QVariant& value, QMetaType::Type type) {
        return value.typeId() == static_cast<int>(type);
    });
}

} // namespace

std::optional<desktop::FrontWindow> readAnswer(const QVariantList& values, std::uint32_t shell)
{
    if (!hasTheRightTypes(values))
        return std::nullopt;
    const quint64 number = values[Window].toULongLong();
    if (number == 0 || number > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;

    desktop::FrontWindow window;
    window.window = (std::uint64_t{shell} << 32U) | number;
    window.addIdentifier(xdg::withoutDesktopEnding(values[DesktopId].toString()));
    window.addIdentifier(values[WindowClass].toString());
    const QString name = values[Name].toString();
    if (!name.isEmpty() && std::cmp_less_equal(name.toUtf8().size(), desktop::kLongestIdentifier))
        window.name = name;
    if (const QString title = values[Title].toString(); !title.isEmpty())
        window.title = cutUtf8(title, desktop::kLongestTitle);
    window.processIdentifier = std::max(0, values[Process].toInt());
    return window;
}

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
    m_bus.connect(QString(),
                  extensionPath(),
                  extensionName(),
                  QStringLiteral("Changed"),
                  this,
                  SLOT(hear(QDBusMessage)));
    followOwners();
}

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
    m_peer = peer;
    m_call.forget();
    m_pause.stop();
    m_isDue = false;
    m_silence.invalidate();
    m_window.reset();
    if (m_peer.isEmpty())
        return;
    tell(Presence::Asking);
    ask();
}

void GnomeFrontWindow::hear(const QDBusMessage& signal)
{
    if (signal.service() == m_peer)
        ask();
}

void GnomeFrontWindow::ask()
{
    m_isDue = m_call.isAsked() || m_pause.isActive();
    if (m_isDue || m_peer.isEmpty())
        return;
    m_call.ask<>(
        m_bus,
        dbus::callOf(m_peer, extensionPath(), extensionName(), QStringLiteral("Get")),
        [this](const QDBusPendingReply<>& reply) { readReply(reply); },
        kLimit);
    m_pause.start(kShortestPause);
}

void GnomeFrontWindow::readReply(const QDBusPendingReply<>& reply)
{
    if (reply.isError()) {
        fail(reply.error());
        return;
    }
    m_silence.invalidate();
    m_window = readAnswer(reply.reply().arguments(), m_shells);
    // Between two windows there is none for a moment, and the second one is not to wait long.
    if (!m_window)
        m_pause.start(kPauseAfterNone);
    tell(Presence::Here);
    if (m_isDue)
        ask();
}

void GnomeFrontWindow::fail(const QDBusError& error)
{
    qCInfo(lcGnome) << "the extension does not answer:" << error.name();
    m_window.reset();
    if (error.type() == QDBusError::AccessDenied) {
        tell(Presence::Here); // it works, but for the instance of this program that has the name
        return;
    }
    // Any other error says that asking again is no use: the extension announces itself when it has
    // something for us.
    if (!dbus::isSilence(error)) {
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
