// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QList>
#include <QObject>

#include <cstdint>
#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// One search for the program that is a certain process. Destroying it ends it.
/// Main thread.
class ProgramSearch final : public QObject
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    ProgramSearch(AccessibilityBus& bus, std::int32_t process);

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    void finished(const std::optional<platform::atspi::AccessibleObject>& program);

private:
    void next();
    void askForProcess(const AccessibleObject& program);

    AccessibilityBus& m_bus;
    std::int32_t m_process;
    QList<AccessibleObject> m_programs;
    std::optional<AccessibleObject> m_found;
    int m_open = 0;
};

} // namespace platform::atspi
