// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/sign_in_request.h"

#include "service/json_request.h"

#include <sodium.h>
#include <string_view>
#include <utility>

namespace service {

namespace {

/// In the memory of the parser, which is ours.
void wipeParsed(std::string_view parsed)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    ::sodium_memzero(const_cast<char*>(parsed.data()), parsed.size());
}

} // namespace

Result<SignInRequest, Fault> decodeSignInRequest(std::string body)
{
    JsonRequest json;
    std::optional<Fault> unread = json.read(std::move(body));
    json.wipeBody();
    if (unread)
        return *std::move(unread);
    SignInRequest request;
    const std::pair<std::string_view, std::string*> members[] = {
        {"email", &request.email},
        {"password", &request.password},
        {"device_name", &request.deviceName},
        {"device_id", &request.deviceId},
    };
    Fault fault{.status = 422, .message = "The request is incomplete", .members = {}};
    for (const auto& [key, field] : members) {
        if (const auto value = stringMember(json.object(), key)) {
            *field = *value;
            wipeParsed(*value);
        } else {
            fault.members.push_back(
                {.member = std::string(key), .text = "is missing or not a string"});
        }
    }
    if (!fault.members.empty())
        return fault;
    return request;
}

} // namespace service
