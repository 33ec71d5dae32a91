// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/request_body.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace service {

/// A request whose header has been read. One thread at a time.
struct Request
{
    /// In its line of the log, and in the answer as X-Request-Id.
    std::string id;
    /// When its first byte came.
    std::chrono::steady_clock::time_point began = std::chrono::steady_clock::now();
    /// The client's address; behind a trusted proxy what that says.
    std::string peer;
    std::string method;
    /// As it came, with the query.
    std::string target;
    /// In the order in which they came, names in small letters.
    std::vector<std::pair<std::string, std::string>> fields;
    /// What stands at the places of the route's pattern, decoded.
    std::vector<std::string> parameters;
    /// Whose request it is, where its route asks for that.
    std::optional<std::int64_t> user;
    /// Null where its route takes none.
    std::unique_ptr<RequestBody> body;

    /// All values of the field of that name (in small letters).
    [[nodiscard]] std::vector<std::string> values(std::string_view name) const
    {
        std::vector<std::string> found;
        for (const auto& [key, value] : fields) {
            if (key == name)
                found.push_back(value);
        }
        return found;
    }

    /// The first of them; empty when there is none.
    [[nodiscard]] std::string value(std::string_view name) const
    {
        for (const auto& [key, value] : fields) {
            if (key == name)
                return value;
        }
        return {};
    }

    [[nodiscard]] bool has(std::string_view name) const { return !values(name).empty(); }

    [[nodiscard]] std::string_view path() const
    {
        return std::string_view(target).substr(0, target.find('?'));
    }

    /// What stands behind the question mark, as it came.
    [[nodiscard]] std::string_view query() const
    {
        const std::size_t mark = target.find('?');
        return mark == std::string::npos ? std::string_view()
                                         : std::string_view(target).substr(mark + 1);
    }
};

} // namespace service
