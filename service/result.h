// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <string>
#include <variant>

namespace service {

/// Why an operation failed, as one phrase a person can read.
struct Error
{
    std::string text;
};

template <typename T, typename E = Error> using Result = platform::Result<T, E>;

/// The result of an operation that yields nothing but success or a reason.
using Outcome = Result<std::monostate>;

inline Outcome success()
{
    return std::monostate{};
}

} // namespace service
