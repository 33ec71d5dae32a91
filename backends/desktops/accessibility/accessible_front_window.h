// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/desktops/choice/sources.h"

#include <QCoroTask>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdint>
#include <optional>

namespace platform::atspi {

/// The window in front as programs tell assistive ones. Programs that take no part in accessibility
/// are never in front; a Qt program takes part only if it was started when accessibility was on.
/// Follows the events that programs send when a window gets or loses the focus. Those of new titles
/// are not among them, because every program would send its names of everything: the title is asked
/// for. However many events come, little is asked: a few questions at intervals of a twentieth of a
/// second.
/// Main thread; waits for nobody.
class AccessibleFrontWindow final : public desktop::FrontWindowSource
{
    Q_OBJECT

public:
    /// `bus` must outlive this. While this exists, programs send their window events.
    explicit AccessibleFrontWindow(AccessibilityBus& bus);

    [[nodiscard]] QString name() const override { return QStringLiteral("accessibility bus"); }

    [[nodiscard]] desktop::Presence presence() const override { return m_presence; }

    /// As in the interface. A program that does not answer within a fifth of a second has no
    /// window in front.
    [[nodiscard]] std::optional<desktop::FrontWindow> frontWindow() const override
    {
        return m_front;
    }

    /// To be called once a second: asks for the title, and for everything every ten seconds and
    /// while nothing is known. The answers come later, so a new title is there at the second call
    /// after it has come.
    void update() override;

    [[nodiscard]] QString advice() const override;

private:
    void begin();
    void listen();
    Q_SLOT void activated(const QDBusMessage& event);
    Q_SLOT void deactivated(const QDBusMessage& event);
    Q_SLOT void ownerChanged(const QString& name, const QString& before, const QString& now);
    void follow(const std::optional<AccessibleObject>& window);
    QCoro::Task<> search();
    void inquireSoon();
    QCoro::Task<> inquire();
    QCoro::Task<> askTitle(AccessibleObject window);

    AccessibilityBus& m_bus;
    desktop::Presence m_presence;
    std::optional<AccessibleObject> m_window;
    std::uint64_t m_number = 0;
    std::optional<desktop::FrontWindow> m_front;
    /// There while it runs.
    SearchToken m_inquiry;
    SearchToken m_titleQuestion;
    SearchToken m_search;
    QElapsedTimer m_lastInquiry;
    QElapsedTimer m_lastQuestion;
    QElapsedTimer m_lastSearch;
    int m_searchesLeft = 0;
    QTimer m_pace;
};

} // namespace platform::atspi
