// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace app {

/// From now on what the toolkit says goes to standard error, but for what is told in our own words:
/// that the display has gone, whereupon the application's Ending ends the process; and for what we
/// have asked for. Main thread; the messages may come from any.
void passOnToolkitMessages();

} // namespace app
