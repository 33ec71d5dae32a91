// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace views {

/// Has assistive programs told about the buttons, links and fields for secrets of windows to come,
/// where Qt 6.4 falls short: it does not say that a button is disabled, takes a link for one, and
/// hands out the text of password fields.
/// Main thread.
void describeControls();

} // namespace views
