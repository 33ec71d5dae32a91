// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/kwin/kwin_front_window.h"
#include "tests/system/verify_outcome.h"

#include <QDBusConnection>
#include <QString>

#include <memory>

/// KWin's front window as in the product, over a connection of its own.
class KWinObserver final
{
public:
    explicit KWinObserver(const QString& busAddress)
        : m_connectionName(
              QStringLiteral("kwin-observer-%1").arg(reinterpret_cast<quintptr>(this), 0, 16))
        , m_bus(QDBusConnection::connectToBus(busAddress, m_connectionName))
        , m_windows(std::make_unique<platform::kwin::KWinFrontWindow>(m_bus))
    {
    }

    KWinObserver(const KWinObserver&) = delete;
    KWinObserver& operator=(const KWinObserver&) = delete;

    ~KWinObserver()
    {
        m_windows.reset();
        QDBusConnection::disconnectFromBus(m_connectionName);
    }

    [[nodiscard]] platform::kwin::KWinFrontWindow& windows() { return *m_windows; }

    [[nodiscard]] const QDBusConnection& bus() const { return m_bus; }

    [[nodiscard]] bool isHere() const
    {
        return m_windows->presence() == platform::desktop::Presence::Here;
    }

    [[nodiscard]] bool isAbsent() const
    {
        return m_windows->presence() == platform::desktop::Presence::Absent;
    }

    /// What tells most of the application in front; "(none)" when nothing is in front.
    [[nodiscard]] QString identifier() const
    {
        const auto front = m_windows->frontWindow();
        return front ? front->identifiers.value(0) : QStringLiteral("(none)");
    }

    /// The title in front; empty when there is none.
    [[nodiscard]] QString title() const
    {
        const auto front = m_windows->frontWindow();
        return front ? front->title.value_or(QString()) : QString();
    }

    [[nodiscard]] qint64 process() const
    {
        const auto front = m_windows->frontWindow();
        return front ? front->processIdentifier : -1;
    }

private:
    QString m_connectionName;
    QDBusConnection m_bus;
    std::unique_ptr<platform::kwin::KWinFrontWindow> m_windows;
};
