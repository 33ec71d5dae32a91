// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace platform::dbus {

class ApplicationService;

/// The D-Bus face of an ApplicationService: org.freedesktop.Application (Desktop Entry
/// Specification, "D-Bus Activation"). Calls of other types are answered with an error by Qt, those
/// beyond a limit by this class. Thread of the service.
class ApplicationAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    /// `service` owns it.
    explicit ApplicationAdaptor(ApplicationService* service);

    // NOLINTBEGIN(readability-identifier-naming): the names are those of the interface.
    Q_SLOT void Activate(const QVariantMap& platformData, const QDBusMessage& message);
    Q_SLOT void
    Open(const QStringList& uris, const QVariantMap& platformData, const QDBusMessage& message);
    Q_SLOT void ActivateAction(const QString& name,
                               const QVariantList& parameter,
                               const QVariantMap& platformData,
                               const QDBusMessage& message);
    // NOLINTEND(readability-identifier-naming)

private:
    ApplicationService* m_service;
};

} // namespace platform::dbus
