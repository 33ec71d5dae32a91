// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

namespace platform::desktop {

/// Who owns a name on a bus, kept up to date without ever waiting for the bus.
/// Main thread, with an event loop.
class BusNameOwner final : public QObject
{
    Q_OBJECT

public:
    /// Begins to ask and to watch. Without a bus nobody owns the name.
    BusNameOwner(QDBusConnection bus, QString name);

    /// Whether the bus has told, or has kept silent for some seconds.
    [[nodiscard]] bool isKnown() const { return m_isKnown; }

    /// The owner's unique name; empty while nobody owns the name or that is not known.
    [[nodiscard]] const QString& owner() const { return m_owner; }

Q_SIGNALS:
    /// One of the two is different now. Not while the constructor runs.
    void changed();

private:
    Q_SLOT void loseBus();
    void ask();
    void set(const QString& owner);

    QDBusConnection m_bus;
    QString m_name;
    QDBusServiceWatcher m_watcher;
    dbus::Question m_question;
    QString m_owner;
    bool m_isKnown = false;
};

} // namespace platform::desktop
