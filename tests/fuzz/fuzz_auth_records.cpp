// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records.h"
#include "base/exact_utf8.h"
#include "base/strict_json.h"

#include <cstdint>
#include <cstdlib>
#include <simdjson.h>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// A record is what the parser says that the text holds; without one there is a text that says why.
void isWhatIsWritten(std::string_view json)
{
    platform::StrictJson parser;
    const auto* const root = parser.parse(json);
    const auto token = account::decodeTokenResponse(json);
    const auto error = account::decodeErrorResponse(json);
    require(token || !token.error().text.isEmpty());
    require(error || !error.error().text.isEmpty());
    if (root == nullptr || !root->is_object())
        require(!token && !error);
    if (!token)
        return;
    bool success = false;
    require(root->at_key("success").get(success) == simdjson::SUCCESS);
    require(success == token.value().success);
    std::string_view text;
    const bool hasText = root->at_key("token").get(text) == simdjson::SUCCESS;
    require(hasText == token.value().token.has_value());
    require(!hasText || *token.value().token == platform::fromExactUtf8(text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    isWhatIsWritten(json);
    const QByteArray body(json.data(), static_cast<qsizetype>(json.size()));
    for (const int status : {200, 401}) {
        const auto reply =
            account::readLoginReply(platform::HttpResponse{.status = status, .body = body});
        require(!reply || status == 200);
    }
    return 0;
}
