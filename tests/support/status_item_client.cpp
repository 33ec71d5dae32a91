// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/status_item_client.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <utility>

namespace support {

namespace {

const QString kItem = QStringLiteral("org.kde.StatusNotifierItem");
const QString kItemPath = QStringLiteral("/StatusNotifierItem");
const QString kMenu = QStringLiteral("com.canonical.dbusmenu");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

QString connectionName()
{
    static int count = 0;
    return QStringLiteral("panel%1").arg(++count);
}

QString shortcutIn(const QVariant& value)
{
    if (!value.isValid())
        return {};
    const auto argument = value.value<QDBusArgument>();
    QStringList keys;
    argument.beginArray();
    while (!argument.atEnd()) {
        QStringList one;
        argument >> one;
        keys += one.join(u'+');
    }
    argument.endArray();
    return keys.join(u' ');
}

ExportedRow rowIn(const QDBusArgument& argument)
{
    ExportedRow row;
    QVariantMap values;
    argument.beginStructure();
    argument >> row.id >> values;
    argument.endStructure();
    row.isSeparator =
        values.value(QStringLiteral("type")).toString() == QStringLiteral("separator");
    row.label = values.value(QStringLiteral("label")).toString();
    row.isEnabled = values.value(QStringLiteral("enabled"), true).toBool();
    row.shortcut = shortcutIn(values.value(QStringLiteral("shortcut")));
    return row;
}

} // namespace

QString ExportedRow::described() const
{
    if (isSeparator)
        return QStringLiteral("---");
    QString text = (isEnabled ? QStringLiteral("+ ") : QStringLiteral("- ")) + label;
    if (!shortcut.isEmpty())
        text += QStringLiteral(" (") + shortcut + u')';
    return text;
}

StatusItemClient::StatusItemClient(const QString& address, QString owner)
    : m_name(connectionName())
    , m_bus(QDBusConnection::connectToBus(address, m_name))
    , m_owner(std::move(owner))
{
    m_menuPath = property(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
    m_bus.connect(
        m_owner, m_menuPath, kMenu, QStringLiteral("LayoutUpdated"), this, SLOT(noteLayout()));
    m_bus.connect(m_owner,
                  m_menuPath,
                  kMenu,
                  QStringLiteral("ItemsPropertiesUpdated"),
                  this,
                  SLOT(noteRows(QDBusMessage)));
}

StatusItemClient::~StatusItemClient()
{
    QDBusConnection::disconnectFromBus(m_name);
}

QVariant StatusItemClient::property(const QString& name) const
{
    const QDBusMessage reply = call(kItemPath, kProperties, QStringLiteral("Get"), {kItem, name});
    return reply.arguments().value(0).value<QDBusVariant>().variant();
}

void StatusItemClient::activate(int x, int y) const
{
    call(kItemPath, kItem, QStringLiteral("Activate"), {x, y});
}

std::optional<QVector<ExportedRow>> StatusItemClient::rows() const
{
    const QDBusMessage reply =
        call(m_menuPath, kMenu, QStringLiteral("GetLayout"), {0, -1, QStringList()});
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {};
    QVector<ExportedRow> rows;
    const auto root = reply.arguments().value(1).value<QDBusArgument>();
    int id = 0;
    QVariantMap values;
    root.beginStructure();
    root >> id >> values;
    root.beginArray();
    while (!root.atEnd()) {
        QDBusVariant row;
        root >> row;
        rows.append(rowIn(row.variant().value<QDBusArgument>()));
    }
    root.endArray();
    root.endStructure();
    return rows;
}

QStringList StatusItemClient::described() const
{
    QStringList lines;
    for (const ExportedRow& row : rows().value_or(QVector<ExportedRow>()))
        lines += row.described();
    return lines;
}

bool StatusItemClient::open() const
{
    return call(m_menuPath, kMenu, QStringLiteral("AboutToShow"), {0}).type() ==
           QDBusMessage::ReplyMessage;
}

bool StatusItemClient::click(const QString& label) const
{
    for (const ExportedRow& row : rows().value_or(QVector<ExportedRow>())) {
        if (row.label != label)
            continue;
        const QDBusMessage reply = call(m_menuPath,
                                        kMenu,
                                        QStringLiteral("Event"),
                                        {row.id,
                                         QStringLiteral("clicked"),
                                         QVariant::fromValue(QDBusVariant(0)),
                                         QVariant::fromValue(0U)});
        return reply.type() == QDBusMessage::ReplyMessage;
    }
    return false;
}

QString StatusItemClient::shownText(const QString& label)
{
    QString shown;
    for (qsizetype i = 0; i < label.size(); ++i) {
        const bool isPair = label.mid(i, 2) == QStringLiteral("__");
        if (label[i] != u'_' || isPair)
            shown += label[i];
        if (isPair)
            ++i;
    }
    return shown;
}

void StatusItemClient::noteLayout()
{
    ++m_layoutChanges;
}

void StatusItemClient::noteRows(const QDBusMessage& message)
{
    const auto changed = message.arguments().value(0).value<QDBusArgument>();
    changed.beginArray();
    while (!changed.atEnd()) {
        int id = 0;
        QVariantMap values;
        changed.beginStructure();
        changed >> id >> values;
        changed.endStructure();
        ++m_rowChanges;
    }
    changed.endArray();
}

QDBusMessage StatusItemClient::call(const QString& path,
                                    const QString& interface,
                                    const QString& method,
                                    const QVariantList& arguments) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(m_owner, path, interface, method);
    message.setArguments(arguments);
    return m_bus.call(message);
}

} // namespace support
