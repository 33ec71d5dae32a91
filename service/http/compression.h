// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Whether a client takes gzip, by its header Accept-Encoding. Any thread.
[[nodiscard]] bool acceptsGzip(std::string_view acceptEncoding);

/// `body` compressed; nothing when that is not worth it. Any thread.
[[nodiscard]] std::optional<std::string> compressed(std::string_view body);

} // namespace service
