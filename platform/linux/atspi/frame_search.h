// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QList>
#include <QObject>
#include <QString>

#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// One search for the window of a program that has a certain title. Destroying it ends it.
/// Main thread.
class FrameSearch final : public QObject
{
    Q_OBJECT

public:
    /// Whether a window that says that it is active may be told by that from another one of the
    /// same title. `bus` must outlive this.
    FrameSearch(AccessibilityBus& bus,
                AccessibleObject program,
                QString title,
                bool isActiveTrusted);

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    /// None when there is no such window, or more than one and it cannot be told which is meant.
    /// `isGone` when the program itself has not answered.
    void finished(const std::optional<platform::atspi::AccessibleObject>& window, bool isGone);

private:
    void next();
    void askForName(const AccessibleObject& window);
    void choose();
    void askForState(const AccessibleObject& window);
    void settle();

    AccessibilityBus& m_bus;
    AccessibleObject m_program;
    QString m_title;
    bool m_isActiveTrusted;
    QList<AccessibleObject> m_windows;
    QList<AccessibleObject> m_titled;
    QList<AccessibleObject> m_active;
    int m_open = 0;
};

} // namespace platform::atspi
