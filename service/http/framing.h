// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// The header fields that say how a request's body comes, every occurrence of each.
struct BodyFields
{
    std::vector<std::string> contentLength;
    std::vector<std::string> transferEncoding;
    std::string contentEncoding;
    std::string contentType;
};

/// Whether a body follows, or may.
[[nodiscard]] bool announcesBody(const BodyFields& fields);

/// Why such a body of at most `limit` bytes is refused before it is read; nothing when it is not.
/// What different readers of HTTP might take differently is refused (RFC 9112, section 6.3).
[[nodiscard]] std::optional<Fault> faultOf(const BodyFields& fields, std::size_t limit);

} // namespace service
