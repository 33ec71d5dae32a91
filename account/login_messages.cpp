// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/login_messages.h"

#include "base/json_writer.h"
#include "base/wipe.h"

#include <string>
#include <string_view>
#include <utility>

namespace account {

namespace {

using platform::Error;
using platform::Result;

constexpr int kOk = 200;
constexpr std::size_t kMostOfTheRest = 128;
constexpr std::size_t kMostBytesOfAUnit = 6; // "\u0000"

const QString kInvalidCredentials = QStringLiteral("Invalid credentials");
const QString kInvalidResponse = QStringLiteral("Invalid response");
const QString kFailed = QStringLiteral("Login failed");
const QString kFailedWithStatus = QStringLiteral("Login failed with status %1");

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
        return Error{kInvalidCredentials};
    return Session{.token = *answer.token, .user = answer.user};
}

Error readRefusal(const platform::HttpResponse& response)
{
    const Result<ErrorResponse> decoded = decodeErrorResponse(bodyOf(response));
    if (!decoded)
        return {kFailedWithStatus.arg(response.status)};
    const ErrorResponse& answer = decoded.value();
    if (answer.message)
        return {*answer.message};
    if (answer.errors && !answer.errors->empty() && !answer.errors->front().second.isEmpty())
        return {answer.errors->front().second.constFirst()};
    return {kFailed};
}

} // namespace

std::optional<QByteArray>
loginBody(const QString& email, const QString& password, const QString& deviceId)
{
    const std::pair<std::string_view, QString> members[] = {
        {"email", email},
        {"password", password},
        {"device_name", QStringLiteral("Desktop")},
        {"device_id", deviceId},
    };
    std::string out;
    // At once as much as it can become, so that growing leaves no copies of the password behind.
    out.reserve(kMostOfTheRest +
                kMostBytesOfAUnit *
                    static_cast<std::size_t>(email.size() + password.size() + deviceId.size()));
    for (const auto& [key, value] : members) {
        if (!value.isValidUtf16()) {
            platform::wipe(out);
            return std::nullopt;
        }
        out += out.empty() ? '{' : ',';
        platform::appendJsonString(out, key);
        out += ':';
        std::string utf8 = value.toStdString();
        platform::appendJsonString(out, utf8);
        platform::wipe(utf8);
    }
    out += '}';
    QByteArray body = QByteArray::fromStdString(out);
    platform::wipe(out);
    return body;
}

Result<Session> readLoginReply(const platform::HttpOutcome& outcome)
{
    if (const auto* failure = std::get_if<platform::TransferFailure>(&outcome))
        return Error{failure->text};
    const auto* response = std::get_if<platform::HttpResponse>(&outcome);
    if (response == nullptr)
        return Error{kInvalidResponse};
    if (response->status == kOk)
        return readToken(*response);
    return readRefusal(*response);
}

} // namespace account
