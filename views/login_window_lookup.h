// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QWindowList>

namespace views {

/// The first of `windows` that is titled "Login" or whose identifier, its object name, contains
/// "login"; null when there is none.
[[nodiscard]] QWindow* findLoginWindow(const QWindowList& windows);

/// Brings that window of this program to the front and gives it the keyboard.
void focusLoginWindow();

} // namespace views
