// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <sodium.h>
#include <string>

namespace service {

/// Empties `text` and leaves nothing of it in memory. Any thread.
inline void wipe(std::string& text)
{
    text.resize(text.capacity());
    ::sodium_memzero(text.data(), text.size());
    text.clear();
}

} // namespace service
