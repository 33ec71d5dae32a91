// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace service {

/// What a request is answered with.
struct Answer
{
    int status = 200;
    std::string body;
    /// For the header Retry-After.
    std::optional<std::chrono::seconds> retryAfter = std::nullopt;
    /// Whose request it was, for the log.
    std::optional<std::int64_t> user = std::nullopt;
    std::string contentType = "application/json";
    /// The header Cache-Control.
    std::string cacheControl = "no-store";
    /// More of the header, as name and value without line ends.
    // NOLINTNEXTLINE(readability-redundant-member-init): most leave it out
    std::vector<std::pair<std::string, std::string>> fields = {};
};

/// What is wrong with a member of a request ("activities.3.app_name").
struct MemberFault
{
    std::string member;
    std::string text;
};

/// A request that is refused.
struct Fault
{
    int status = 400;
    std::string message;
    std::vector<MemberFault> members;
};

/// {"message":MESSAGE}, as every refusal has it.
[[nodiscard]] Answer refusal(int status, std::string_view message);

/// The same for `fault`, with its members as {"errors":{MEMBER:[TEXT]}}.
[[nodiscard]] Answer refusal(const Fault& fault);

} // namespace service
