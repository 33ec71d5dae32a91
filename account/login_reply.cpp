// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/login_reply.h"

#include "account/auth_records_json.h"

#include <string_view>

namespace account {

namespace {

using platform::Error;
using platform::Result;

constexpr int kOk = 200;

std::string_view bodyOf(const platform::HttpResponse& response)
{
    return {response.body.data(), static_cast<std::size_t>(response.body.size())};
}

Result<Session> readToken(const platform::HttpResponse& response)
{
    const Result<TokenResponse> decoded = decodeTokenResponse(bodyOf(response));
    if (!decoded)
        return decoded.error();
    const TokenResponse& answer = decoded.value();
    if (!answer.success || !answer.token)
        return Error{QStringLiteral("Invalid credentials")};
    return Session{.token = *answer.token, .user = answer.user};
}

Error readRefusal(const platform::HttpResponse& response)
{
    const Result<ErrorResponse> decoded = decodeErrorResponse(bodyOf(response));
    if (!decoded)
        return {QStringLiteral("Login failed with status %1").arg(response.status)};
    const ErrorResponse& answer = decoded.value();
    if (answer.message)
        return {*answer.message};
    if (answer.errors && !answer.errors->empty() && !answer.errors->front().second.isEmpty())
        return {answer.errors->front().second.constFirst()};
    return {QStringLiteral("Login failed")};
}

} // namespace

Result<Session> readLoginReply(const platform::HttpOutcome& outcome)
{
    if (const auto* failure = std::get_if<platform::TransferFailure>(&outcome))
        return Error{failure->text};
    const auto* response = std::get_if<platform::HttpResponse>(&outcome);
    if (response == nullptr)
        return Error{QStringLiteral("Invalid response")};
    if (response->status == kOk)
        return readToken(*response);
    return readRefusal(*response);
}

} // namespace account
