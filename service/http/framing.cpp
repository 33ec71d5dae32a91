// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/framing.h"

#include "base/ascii.h"

#include <algorithm>
#include <string_view>

namespace service {

namespace {

constexpr std::size_t kMostDigits = 18;

/// Nothing when `digits` is not a number of at most 18 digits.
std::optional<std::size_t> number(std::string_view digits)
{
    const bool valid = !digits.empty() && digits.size() <= kMostDigits &&
                       std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
    if (!valid)
        return std::nullopt;
    std::size_t value = 0;
    for (const char c : digits)
        value = 10 * value + static_cast<std::size_t>(c - '0');
    return value;
}

} // namespace

bool announcesBody(const BodyFields& fields)
{
    return !fields.transferEncoding.empty() ||
           (!fields.contentLength.empty() && fields.contentLength != std::vector<std::string>{"0"});
}

std::optional<Fault> faultOf(const BodyFields& fields, std::size_t limit)
{
    const bool chunked = !fields.transferEncoding.empty();
    if (chunked && (fields.transferEncoding.size() > 1 || !fields.contentLength.empty() ||
                    platform::asciiLower(fields.transferEncoding.front()) != "chunked"))
        return Fault{
            .status = 400, .message = "The length of the body is ambiguous", .members = {}};
    if (!chunked && fields.contentLength.empty())
        return Fault{.status = 411, .message = "The request says nothing of a body", .members = {}};
    if (!chunked) {
        const auto length = number(fields.contentLength.front());
        if (!length || fields.contentLength.size() > 1)
            return Fault{
                .status = 400, .message = "The length of the body is not valid", .members = {}};
        if (*length > limit)
            return Fault{.status = 413,
                         .message = "The body is longer than " + std::to_string(limit) + " bytes",
                         .members = {}};
    }
    if (!fields.contentEncoding.empty() && fields.contentEncoding != "identity")
        return Fault{.status = 415, .message = "The body must not be compressed", .members = {}};
    if (platform::asciiLower(fields.contentType).starts_with("multipart/"))
        return Fault{.status = 415, .message = "The body must be JSON", .members = {}};
    return std::nullopt;
}

} // namespace service
