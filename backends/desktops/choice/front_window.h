// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace platform::desktop {

/// The longest texts that are handed on, in bytes of UTF-8: a longer title is cut, a longer
/// identifier names nothing.
inline constexpr std::size_t kLongestTitle = 16'384;
inline constexpr std::size_t kLongestIdentifier = 1'024;

/// The window that has the focus, as a desktop tells of it.
struct FrontWindow
{
    /// Tells windows of one source apart, never 0; not given to another window while the process
    /// runs.
    std::uint64_t window = 0;
    /// What may lead to its application, the most telling first, without empty ones: ids of desktop
    /// files without ".desktop", application ids, window classes.
    QStringList identifiers;
    /// The application's name in the user's language, where the desktop itself knows it.
    std::optional<QString> name;
    /// Its process, 0 when the desktop does not tell.
    std::int32_t processIdentifier = 0;
    /// Its title; none when it has none or the desktop does not tell.
    std::optional<QString> title;

    bool operator==(const FrontWindow&) const = default;
};

} // namespace platform::desktop
