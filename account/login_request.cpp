// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/login_request.h"

#include "platform/json_writer.h"
#include "platform/wipe.h"

#include <string>
#include <string_view>
#include <utility>

namespace account {

namespace {

constexpr std::size_t kMostOfTheRest = 128;
constexpr std::size_t kMostBytesOfAUnit = 6; // "\u0000"

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

} // namespace account
