// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records.h"
#include "account/login_messages.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// Reading has one outcome, each time the same: a record, or a text that says why there is none.
template <typename Record>
void isReadOrRefused(const platform::Result<Record>& first, const platform::Result<Record>& second)
{
    require(bool(first) == bool(second));
    if (first)
        require(first.value() == second.value());
    else
        require(!first.error().text.isEmpty() && first.error().text == second.error().text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    isReadOrRefused(account::decodeTokenResponse(json), account::decodeTokenResponse(json));
    isReadOrRefused(account::decodeErrorResponse(json), account::decodeErrorResponse(json));
    const QByteArray body(json.data(), static_cast<qsizetype>(json.size()));
    for (const int status : {200, 401}) {
        const auto reply =
            account::readLoginReply(platform::HttpResponse{.status = status, .body = body});
        require(!reply || status == 200);
    }
    return 0;
}
