// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"
#include "platform/linux/desktop/front_window.h"

#include <QDBusMessage>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <optional>

namespace platform::atspi {

class AccessibilityBus;
class ActiveWindowSearch;
class WindowInquiry;

/// Follows the window that has the focus by the events that programs send. Those of new titles are
/// not among them, because every program would send its names of everything: the title is asked
/// for. Main thread; waits for nobody. However many events come, little is asked: a few questions
/// at intervals of a twentieth of a second.
class FrontWindowWatch final : public QObject
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    explicit FrontWindowWatch(AccessibilityBus& bus);
    FrontWindowWatch(const FrontWindowWatch&) = delete;
    FrontWindowWatch& operator=(const FrontWindowWatch&) = delete;
    ~FrontWindowWatch() override;

    /// The window by the latest that is known.
    [[nodiscard]] const std::optional<desktop::FrontWindow>& front() const { return m_front; }

    /// To be called once a second. Asks for the title, and for everything every ten seconds and
    /// while nothing is known; the answers count later.
    void refresh();

private:
    void begin();
    void listen();
    Q_SLOT void activated(const QDBusMessage& event);
    Q_SLOT void deactivated(const QDBusMessage& event);
    Q_SLOT void ownerChanged(const QString& name, const QString& before, const QString& now);
    void follow(const std::optional<AccessibleObject>& window);
    void search();
    void inquireSoon();
    void inquire();
    void askTitle(const AccessibleObject& window);

    AccessibilityBus& m_bus;
    std::optional<AccessibleObject> m_window;
    std::uint64_t m_number = 0;
    std::optional<desktop::FrontWindow> m_front;
    std::unique_ptr<WindowInquiry> m_inquiry;
    std::unique_ptr<QObject> m_titleQuestion;
    std::unique_ptr<ActiveWindowSearch> m_search;
    QElapsedTimer m_lastInquiry;
    QElapsedTimer m_lastQuestion;
    QElapsedTimer m_lastSearch;
    int m_searchesLeft = 0;
    QTimer m_pace;
};

} // namespace platform::atspi
