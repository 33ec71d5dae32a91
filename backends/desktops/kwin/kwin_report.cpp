// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/kwin/kwin_report.h"

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
constexpr qsizetype kToken = 0;
constexpr qsizetype kId = 1;
constexpr qsizetype kCaption = 2;
constexpr qsizetype kClass = 3;
constexpr qsizetype kInstance = 4;
constexpr qsizetype kDesktopFile = 5;
constexpr qsizetype kProcess = 6;
constexpr qsizetype kCount = 7;

/// Of a path to a desktop file only what names it is of use.
QString desktopFileId(const QString& text)
{
    QString id = text.mid(text.lastIndexOf(u'/') + 1);
    if (id.endsWith(QLatin1StringView(".desktop")))
        id.chop(8);
    return id;
}

QStringList identifiers(const QVariantList& arguments)
{
    const QString all[]{desktopFileId(arguments[kDesktopFile].toString()),
                        arguments[kClass].toString(),
                        arguments[kInstance].toString()};
    QStringList kept;
    for (const QString& text : all) {
        const bool fits = cutUtf8(text, desktop::kLongestIdentifier).size() == text.size();
        if (!text.isEmpty() && fits && !kept.contains(text))
            kept.append(text);
    }
    return kept;
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
    return arguments.size() == kCount &&
           std::all_of(arguments.begin(), arguments.begin() + kProcess, isText) &&
           arguments[kProcess].typeId() == QMetaType::Int;
}

QString newPath()
{
    static std::atomic<int> count = 0;
    return QStringLiteral("/com/velomira/UsageMonitor/KWin/%1").arg(++count);
}

} // namespace

Q_LOGGING_CATEGORY(lcKWin, "velomira.kwin", QtCriticalMsg)

QString reportInterface()
{
    return QStringLiteral("com.velomira.UsageMonitor.KWin");
}

QString reportMethod()
{
    return QStringLiteral("report");
}

std::optional<KWinReport> decodeReport(const QVariantList& arguments)
{
    if (!isReport(arguments))
        return std::nullopt;
    KWinReport report{.token = arguments[kToken].toString(), .front = std::nullopt};
    const QString id = arguments[kId].toString();
    if (id.isEmpty())
        return report;
    const QUuid uuid(id);
    if (uuid.isNull())
        return std::nullopt;
    const QString title = cutUtf8(arguments[kCaption].toString(), desktop::kLongestTitle);
    report.front =
        desktop::FrontWindow{.window = windowNumber(uuid),
                             .identifiers = identifiers(arguments),
                             .name = std::nullopt,
                             .processIdentifier = std::max(0, arguments[kProcess].toInt()),
                             .title = title.isEmpty() ? std::nullopt : std::optional(title)};
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

} // namespace platform::kwin
