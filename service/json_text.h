// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace service {

/// Appends `text`, valid UTF-8, to `out` as a JSON string with its quotes (RFC 8259). Any thread.
void appendJsonString(std::string& out, std::string_view text);

} // namespace service
