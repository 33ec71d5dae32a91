// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records_json.h"
#include "account/login_reply.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// What was read is written and read again as the same.
template <typename Record, typename Decode>
void survivesARoundTrip(std::string_view json, Decode decode)
{
    const platform::Result<Record> first = decode(json);
    if (!first)
        return require(!first.error().text.isEmpty());
    const platform::Result<Record> second = decode(account::encode(first.value()));
    require(bool(second) && second.value() == first.value());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    survivesARoundTrip<account::TokenResponse>(json, account::decodeTokenResponse);
    survivesARoundTrip<account::ErrorResponse>(json, account::decodeErrorResponse);
    const QByteArray body(json.data(), static_cast<qsizetype>(json.size()));
    for (const int status : {200, 401}) {
        const auto reply =
            account::readLoginReply(platform::HttpResponse{.status = status, .body = body});
        require(!reply || status == 200);
    }
    return 0;
}
