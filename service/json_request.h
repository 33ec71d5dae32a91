// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/wipe.h"
#include "service/answer.h"
#include "service/result.h"

#include <cstdint>
#include <optional>
#include <simdjson.h>
#include <string>
#include <string_view>

namespace service {

/// The JSON object in the body of a request, read strictly (RFC 8259) and with at most 512 levels.
/// A byte order mark is skipped; of a key that stands twice the first counts.
/// One thread. What is read from it lives as long as it does.
class JsonRequest final
{
public:
    /// Takes the body; without copying when its capacity has room for the parser's padding. A
    /// status of 400 for what is not JSON, 422 for JSON that is not an object.
    [[nodiscard]] std::optional<Fault> read(std::string body);

    [[nodiscard]] const simdjson::dom::object& object() const { return m_object; }

    /// Overwrites the body; what was read from it stays until the end of this object.
    void wipeBody() { platform::wipe(m_body); }

private:
    std::string m_body;
    simdjson::dom::parser m_parser;
    simdjson::dom::object m_object;
};

/// Members of `object`; nothing when there is none of that name or it has another type.
[[nodiscard]] std::optional<std::string_view> stringMember(const simdjson::dom::object& object,
                                                           std::string_view key);
[[nodiscard]] std::optional<std::int64_t> integerMember(const simdjson::dom::object& object,
                                                        std::string_view key);

/// Whether `object` has no `key`, or null there.
[[nodiscard]] bool lacks(const simdjson::dom::object& object, std::string_view key);

} // namespace service
