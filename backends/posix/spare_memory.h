// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform::posix {

/// Gives back what the process holds and may not need again: free memory of the heap, and the pages
/// of the program and its libraries as they are in their files. What is needed again is mapped
/// again, mostly out of memory; so this is for the end of a busy time, not for one that goes on.
/// Takes about a millisecond, and the first calls afterwards some more. Any thread.
void letGoOfSpareMemory();

} // namespace platform::posix
