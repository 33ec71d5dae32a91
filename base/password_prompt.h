// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/secret.h"

#include <cstdint>
#include <string>
#include <variant>

namespace terminal {

enum class Ask : std::uint8_t {
    Once,
    Twice, ///< at a terminal, where a slip would go unseen
};

/// The password, or why there is none, as one phrase.
using PasswordAnswer = std::variant<Secret, std::string>;

/// Reads one line from standard input, never an empty one. At a terminal it asks with `prompt`
/// first and shows nothing of what is typed; Ctrl+C there is a fault, and the terminal is as
/// before. Two different answers are a fault. Blocks. For the agent and for the service alike.
[[nodiscard]] PasswordAnswer readPassword(const char* prompt, Ask times = Ask::Once);

} // namespace terminal
