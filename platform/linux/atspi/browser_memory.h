// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QHash>

#include <cstdint>
#include <optional>

namespace platform::atspi {

/// What holds for as long as a browser or a window of it is there, so that it need not be asked for
/// again. Bounded. Main thread.
class BrowserMemory final
{
public:
    /// The program on the bus that is the process `process`.
    [[nodiscard]] std::optional<AccessibleObject> program(std::int32_t process) const;
    void setProgram(std::int32_t process, const AccessibleObject& program);
    void forgetProgram(std::int32_t process);

    /// Whether a window is private; none while nobody has found out.
    [[nodiscard]] std::optional<bool> isPrivate(const AccessibleObject& window) const;
    void setPrivate(const AccessibleObject& window, bool isPrivate);

    void clear();

private:
    QHash<std::int32_t, AccessibleObject> m_programs;
    QHash<AccessibleObject, bool> m_isPrivate;
};

} // namespace platform::atspi
