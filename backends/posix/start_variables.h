// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform::posix {

/// Removes from the environment what was said to this process alone by whoever started it: the
/// message bus, the service manager, the launcher. Programs that are opened from here would take it
/// for theirs. What the toolkit takes for itself (activation) stays, and it removes that.
/// Before there are threads.
void forgetHowThisProgramWasStarted();

} // namespace platform::posix
