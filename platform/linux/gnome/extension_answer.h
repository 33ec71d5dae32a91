// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/desktop/front_window.h"

#include <QVariantList>

#include <cstdint>
#include <optional>

namespace platform::gnome {

/// The window in front by the values that the extension's Get answered: number, desktop id,
/// application name, title, window class, process id. None when no application's window has the
/// focus, and when the values are not of that kind. Numbers count within a shell; `shell` tells
/// apart the shells that ran while this process does. A title of more than 16 KiB of UTF-8 is cut
/// off there, other texts of more than 1 KiB are left out.
/// Pure; any thread.
[[nodiscard]] std::optional<desktop::FrontWindow> readAnswer(const QVariantList& values,
                                                             std::uint32_t shell);

} // namespace platform::gnome
