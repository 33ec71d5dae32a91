// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_front_window.h"

#include "backends/xdg/desktop_entry_index.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"

#include <QByteArray>
#include <QMetaType>
#include <QUuid>
#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <utility>

namespace platform::kwin {

namespace {

// Where in a report its arguments stand.
enum Field : std::uint8_t { Token, Id, Caption, Class, Instance, DesktopFile, Process, Count };

/// Of a path to a desktop file only what names it is of use.
QString desktopFileId(const QString& text)
{
    return xdg::withoutDesktopEnding(text.mid(text.lastIndexOf(u'/') + 1));
}

/// KWin names windows by random 128 bits; folding them to half keeps them apart.
std::uint64_t windowNumber(const QUuid& id)
{
    const QByteArray bytes = id.toRfc4122();
    const auto number = qFromBigEndian<std::uint64_t>(bytes.constData()) ^
                        qFromBigEndian<std::uint64_t>(bytes.constData() + 8);
    return number == 0 ? 1 : number;
}

bool isReport(const QVariantList& arguments)
{
    const auto isText = [](const QVariant& argument) {
        return argument.typeId() == QMetaType::QString;
    };
    return arguments.size() == Count &&
           std::all_of(arguments.begin(), arguments.begin() + qsizetype{Process}, isText) &&
           arguments[Process].typeId() == QMetaType::Int;
}

QString newPath()
{
    static std::atomic<int> count = 0;
    return QStringLiteral("/com/velomira/UsageMonitor/KWin/%1").arg(++count);
}

/// "com.velomira.UsageMonitor-1.42-1": one script for each connection and object, so that a second
/// process does not take the first one's away.
KWinScriptTarget targetFor(const QDBusConnection& bus, const QString& path)
{
    const QString name = QString::fromLatin1(kBundleIdentifier) + u'-' + bus.baseService().mid(1) +
                         u'-' + path.mid(path.lastIndexOf(u'/') + 1);
    return {.service = bus.baseService(), .path = path, .name = name};
}

} // namespace

std::optional<KWinReport> decodeReport(const QVariantList& arguments)
{
    if (!isReport(arguments))
        return std::nullopt;
    KWinReport report{.token = arguments[Token].toString(), .front = std::nullopt};
    const QString id = arguments[Id].toString();
    if (id.isEmpty())
        return report;
    const QUuid uuid(id);
    if (uuid.isNull())
        return std::nullopt;
    const QString title = cutUtf8(arguments[Caption].toString(), desktop::kLongestTitle);
    report.front =
        desktop::FrontWindow{.window = windowNumber(uuid),
                             .identifiers = {},
                             .name = std::nullopt,
                             .processIdentifier = std::max(0, arguments[Process].toInt()),
                             .title = title.isEmpty() ? std::nullopt : std::optional(title)};
    report.front->addIdentifier(desktopFileId(arguments[DesktopFile].toString()));
    report.front->addIdentifier(arguments[Class].toString());
    report.front->addIdentifier(arguments[Instance].toString());
    return report;
}

KWinReportReceiver::KWinReportReceiver(QDBusConnection bus)
    : m_bus(std::move(bus))
    , m_path(newPath())
{
    m_bus.registerVirtualObject(m_path, this);
}

KWinReportReceiver::~KWinReportReceiver()
{
    m_bus.unregisterObject(m_path);
}

bool KWinReportReceiver::handleMessage(const QDBusMessage& message,
                                       const QDBusConnection& /*connection*/)
{
    if (m_service.isEmpty() || message.service() != m_service) {
        refuse(message, QDBusError::AccessDenied, QStringLiteral("only KWin may report here"));
        return true;
    }
    if (message.interface() != reportInterface() || message.member() != reportMethod())
        return false;
    const std::optional<KWinReport> report = decodeReport(message.arguments());
    if (!report) {
        refuse(message, QDBusError::InvalidArgs, QStringLiteral("this is not a report"));
        return true;
    }
    if (m_token.isEmpty() || report->token != m_token) {
        refuse(message, QDBusError::AccessDenied, QStringLiteral("this script is not the one"));
        return true;
    }
    // The script waits for the answer before it reports again.
    m_bus.send(message.createReply());
    Q_EMIT reported(report->front);
    return true;
}

QString KWinReportReceiver::introspect(const QString& /*path*/) const
{
    return {};
}

void KWinReportReceiver::refuse(const QDBusMessage& message,
                                QDBusError::ErrorType type,
                                const QString& text)
{
    qCInfo(lcKWin) << "a report is refused:" << text;
    m_bus.send(message.createErrorReply(type, text));
}

KWinFrontWindow::KWinFrontWindow(QDBusConnection sessionBus)
    : m_bus(std::move(sessionBus))
    , m_receiver(m_bus)
    , m_keeper(m_bus, targetFor(m_bus, m_receiver.path()))
    , m_owner(m_bus, QStringLiteral("org.kde.KWin"))
{
    if (!m_bus.isConnected()) {
        m_presence = desktop::Presence::Absent;
        return;
    }
    connect(&m_receiver, &KWinReportReceiver::reported, this, &KWinFrontWindow::takeReport);
    connect(&m_keeper, &KWinScriptKeeper::tokenChanged, &m_receiver, &KWinReportReceiver::expect);
    connect(&m_keeper, &KWinScriptKeeper::lost, this, [this] { m_front.reset(); });
    connect(&m_keeper, &KWinScriptKeeper::failed, this, [this] {
        m_front.reset();
        setPresence(desktop::Presence::Absent);
    });
    connect(&m_owner, &desktop::BusNameOwner::changed, this, &KWinFrontWindow::takeOwner);
}

QString KWinFrontWindow::name() const
{
    return QStringLiteral("KWin script");
}

void KWinFrontWindow::takeOwner()
{
    const QString& owner = m_owner.owner();
    m_front.reset();
    m_receiver.expect(QString());
    m_receiver.believe(owner);
    setPresence(owner.isEmpty() ? desktop::Presence::Absent : desktop::Presence::Asking);
    m_keeper.keepIn(owner);
}

void KWinFrontWindow::takeReport(const std::optional<desktop::FrontWindow>& front)
{
    m_keeper.noteReport();
    m_front = front;
    setPresence(desktop::Presence::Here);
}

void KWinFrontWindow::setPresence(desktop::Presence presence)
{
    if (m_presence == presence)
        return;
    m_presence = presence;
    Q_EMIT presenceChanged();
}

} // namespace platform::kwin
