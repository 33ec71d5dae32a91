// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QList>
#include <QObject>

#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// One search for the window that has the focus, among the windows of all programs. Programs that
/// do not answer have none. Destroying it ends it.
/// Main thread.
class ActiveWindowSearch final : public QObject
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    explicit ActiveWindowSearch(AccessibilityBus& bus);

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    /// None when no window says that it is active, or more than one does.
    void finished(const std::optional<platform::atspi::AccessibleObject>& window);

private:
    void next();
    void askForWindows(const AccessibleObject& program);
    void askForState(const AccessibleObject& window);

    AccessibilityBus& m_bus;
    QList<AccessibleObject> m_programs;
    QList<AccessibleObject> m_windows;
    QList<AccessibleObject> m_active;
    int m_open = 0;
};

} // namespace platform::atspi
