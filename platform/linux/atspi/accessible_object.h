// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QHashFunctions>
#include <QString>

#include <cstddef>

namespace platform::atspi {

/// An object of a program on the accessibility bus: the program itself, a window, a page.
struct AccessibleObject
{
    QString service; ///< the program's unique name on the bus
    QString path;

    bool operator==(const AccessibleObject&) const = default;
};

[[nodiscard]] inline std::size_t qHash(const AccessibleObject& object, std::size_t seed = 0)
{
    return qHashMulti(seed, object.service, object.path);
}

// Where every program, and the list of all programs, begins.
inline const QString kRootPath = QStringLiteral("/org/a11y/atspi/accessible/root");

// Numbers of AtspiRole, AtspiStateType and AtspiRelationType.
inline constexpr quint32 kRoleDesktopFrame = 14;
inline constexpr quint32 kRoleInternalFrame = 28;
inline constexpr quint32 kRoleMenu = 33;
inline constexpr quint32 kRoleMenuBar = 34;
inline constexpr quint32 kRolePageTabList = 38;
inline constexpr quint32 kRoleDocumentWeb = 95;
inline constexpr quint32 kStateActive = 1;
inline constexpr quint32 kStateShowing = 25;
inline constexpr quint32 kRelationEmbeds = 13;

} // namespace platform::atspi
