// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/answer.h"

#include "base/json_writer.h"

namespace service {

Answer refusal(int status, std::string_view message)
{
    return refusal(Fault{.status = status, .message = std::string(message), .members = {}});
}

Answer refusal(const Fault& fault)
{
    std::string body = R"({"message":)";
    platform::appendJsonString(body, fault.message);
    if (!fault.members.empty()) {
        body += R"(,"errors":{)";
        for (const MemberFault& member : fault.members) {
            if (body.back() != '{')
                body += ',';
            platform::appendJsonString(body, member.member);
            body += ":[";
            platform::appendJsonString(body, member.text);
            body += ']';
        }
        body += '}';
    }
    body += '}';
    return {.status = fault.status, .body = std::move(body)};
}

} // namespace service
