// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/login_request.h"

#include "platform/json_writer.h"

#include <string>
#include <string_view>
#include <utility>

namespace account {

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
    for (const auto& [key, value] : members) {
        if (!value.isValidUtf16())
            return std::nullopt;
        out += out.empty() ? '{' : ',';
        platform::appendJsonString(out, key);
        out += ':';
        platform::appendJsonString(out, value.toStdString());
    }
    out += '}';
    return QByteArray::fromStdString(out);
}

} // namespace account
