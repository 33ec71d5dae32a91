// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace platform::secrets {

/// Why the keyring did not give a secret that it may hold.
struct Hindrance
{
    enum class Kind : std::uint8_t {
        None,
        Absent, // no Secret Service on the session bus
        Locked,
        Slow, // no answer within the limit
        Failed
    };

    Kind kind = Kind::None;
    /// The object path of the keyring that is locked or slow.
    std::string keyring;
};

} // namespace platform::secrets
