// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>

namespace platform {

/// One row of a menu, as it is to be shown.
struct MenuRow
{
    enum class Kind : std::uint8_t {
        Label, ///< text that cannot be chosen
        Separator,
        Command,
    };

    enum class Font : std::uint8_t {
        Body,
        Headline,
        Subheadline,
        Caption,
    };

    Kind kind = Kind::Separator;
    /// Exactly as the user reads it; an ampersand is an ampersand. May be empty.
    QString text;
    Font font = Font::Body;
    /// As QKeySequence's portable text, "Ctrl+D"; empty when there is none.
    QString shortcut;
    bool isEnabled = true;
    /// What choosing it means to its owner; of a Command only.
    int command = 0;

    bool operator==(const MenuRow&) const = default;
};

} // namespace platform
