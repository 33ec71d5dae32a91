// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/secret_field_watch.h"

#include <QAccessible>
#include <QQmlProperty>
#include <QQuickItem>

namespace views {

SecretFieldWatch::SecretFieldWatch(QQuickItem* field)
    : QObject(field)
{
    QQmlProperty(field, QStringLiteral("echoMode")).connectNotifySignal(this, SLOT(describeAnew()));
}

void SecretFieldWatch::describeAnew()
{
    // The next one to ask has it made again, by what the field is then, and with a new watch.
    QAccessibleInterface* const outdated = QAccessible::queryAccessibleInterface(parent());
    if (outdated)
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(outdated));
    deleteLater();
}

} // namespace views
