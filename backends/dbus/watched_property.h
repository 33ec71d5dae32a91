// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"

#include <QDBusServiceWatcher>
#include <QVariant>

namespace platform::dbus {

/// Where a value is to be had and who tells of its changes.
struct PropertyPlace
{
    QString service;
    QString path;
    QString interface;
    /// A property of the interface; or, with a signal, a method that answers the value.
    QString name;
    /// Bears the new value; empty: that of all properties.
    QString signal = {}; // NOLINT(readability-redundant-member-init): properties leave it out
};

/// What WatchedProperty<T> is for every T.
class PropertyWatch : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    /// The value is another one now. Not while the constructor runs.
    void changed();

protected:
    /// `none` is the value while nobody has told; what is told is of its type, or it is nothing.
    PropertyWatch(const QDBusConnection& bus, PropertyPlace place, QVariant none);

    [[nodiscard]] const QVariant& known() const { return m_value; }

private:
    Q_SLOT void hear(const QDBusMessage& signal);
    void ask();
    void set(const QVariant& value);

    QDBusConnection m_bus;
    PropertyPlace m_place;
    QDBusServiceWatcher m_owner;
    Question m_question;
    QVariant m_none;
    QVariant m_value;
};

/// A value that a service on a bus has, kept up to date from what the service tells. It may come,
/// go and come back; it is not started, and nobody else is believed.
/// `T` is a number, a text or a truth value. Main thread, with an event loop; never waits for it.
template <typename T> class WatchedProperty final : public PropertyWatch
{
public:
    /// Begins to ask and to watch; on a bus that is not connected nothing is ever known.
    WatchedProperty(const QDBusConnection& bus, PropertyPlace place)
        : PropertyWatch(bus, std::move(place), QVariant::fromValue(T()))
    {
    }

    /// As last told; T() while nobody has told, or the service is not there.
    [[nodiscard]] T value() const { return qvariant_cast<T>(known()); }
};

} // namespace platform::dbus
