// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/x11/x11_numbers.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace platform::x11 {

/// The value of a window property, as the server holds it. The rules for reading one are pure
/// functions. Any thread, except for text of the type COMPOUND_TEXT: main thread.
struct X11Property
{
    xcb_atom_t type = XCB_ATOM_NONE; ///< none: the window has no such property
    std::uint8_t format = 0;         ///< bits per item: 8, 16 or 32
    std::string_view bytes;          ///< what was read of the value
    bool truncated = false;          ///< the value is longer than what was read

    /// The value in `reply`, which must outlive it. An absent property for null.
    [[nodiscard]] static X11Property of(const xcb_get_property_reply_t* reply);
};

/// Text up to the first NUL, decoded by the property's type (ICCCM): STRING is Latin-1,
/// COMPOUND_TEXT and UTF8_STRING what they say, and any other type is tried as UTF-8. What is not
/// valid becomes U+FFFD; a character cut in half at the end of a truncated value is left out.
/// None when the property is absent or does not hold bytes.
[[nodiscard]] std::optional<QString> textOf(const X11Property& property, const X11Atoms& atoms);

/// The names in WM_CLASS (ICCCM), the class before the instance, without empty ones.
[[nodiscard]] QStringList windowClassNames(const X11Property& property, const X11Atoms& atoms);

/// The values of a property of 32-bit items and the given type; empty for anything else.
[[nodiscard]] std::vector<std::uint32_t> numbersOf(const X11Property& property, xcb_atom_t type);

/// The first of those, 0 when there is none.
[[nodiscard]] std::uint32_t numberOf(const X11Property& property, xcb_atom_t type);

/// Whether WM_CLIENT_MACHINE (ICCCM) names the host `hostName`. Names are compared without regard
/// to case, and by their first label when only one of them carries a domain. A window that names
/// no machine counts as one of this host.
[[nodiscard]] bool isLocalMachine(QStringView clientMachine, QStringView hostName);

} // namespace platform::x11
