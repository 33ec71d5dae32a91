// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace platform::posix {

/// The variable in which systemd.exec(5) tells a program which stream of its leads to the journal.
inline constexpr const char* kJournalStream = "JOURNAL_STREAM";

/// Whether `descriptor` is the stream that the variable's value `named` names, "DEVICE:INODE" in
/// decimals. The variable is inherited also by programs whose output leads elsewhere, so its being
/// there says nothing; a value of another form names no stream.
/// Any thread.
[[nodiscard]] bool isJournalStream(int descriptor, std::string_view named);

} // namespace platform::posix
