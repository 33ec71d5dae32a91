// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/auth_records.h"

#include "base/exact_utf8.h"
#include "base/json_writer.h"
#include "base/strict_json.h"
#include "base/wipe.h"

#include <QSet>

#include <simdjson.h>
#include <string>
#include <string_view>
#include <utility>

namespace account {

namespace {

const QString kNobody = QStringLiteral("User");

using platform::Error;
using platform::Result;
using simdjson::dom::element;

/// Reads the members of one object and keeps the first complaint; what is read after it is not
/// used.
class ObjectReader final
{
public:
    /// `path` leads to the object from the answer itself, with a dot at its end.
    ObjectReader(const element& value, QString path, std::optional<Error>& complaint)
        : m_path(std::move(path))
        , m_complaint(complaint)
    {
        simdjson::dom::object object;
        if (value.get(object) == simdjson::SUCCESS)
            m_object = object;
        else
            complain(m_path.chopped(m_path.isEmpty() ? 0 : 1), "is not an object");
    }

    template <typename T> T required(const char* key)
    {
        std::optional<T> value = optional<T>(key);
        if (!value)
            complain(m_path + QLatin1StringView(key), "is missing");
        return std::move(value).value_or(T());
    }

    template <typename T> std::optional<T> optional(const char* key)
    {
        if (!m_object)
            return std::nullopt;
        const auto member = (*m_object)[key];
        if (member.error() != simdjson::SUCCESS || member.is_null())
            return std::nullopt;
        T value{};
        read(member.value_unsafe(), m_path + QLatin1StringView(key), value);
        return value;
    }

private:
    void complain(const QString& member, const char* fault)
    {
        if (m_complaint)
            return;
        const QString what =
            member.isEmpty() ? QStringLiteral("it") : QStringLiteral("\"%1\"").arg(member);
        m_complaint = Error{QStringLiteral("The service gave an answer that makes no sense: %1 %2")
                                .arg(what, QLatin1StringView(fault))};
    }

    void read(const element& value, const QString& member, bool& out)
    {
        if (value.get(out) != simdjson::SUCCESS)
            complain(member, "is not true or false");
    }

    void read(const element& value, const QString& member, std::int64_t& out)
    {
        const std::optional<std::int64_t> number = platform::wholeNumber(value);
        if (!number)
            complain(member, "is not a whole number");
        out = number.value_or(0);
    }

    void read(const element& value, const QString& member, QString& out)
    {
        std::string_view text;
        if (value.get(text) != simdjson::SUCCESS)
            complain(member, "is not a text");
        out = platform::fromExactUtf8(text);
    }

    template <typename T>
    void read(const element& value, const QString& member, std::vector<T>& out)
    {
        simdjson::dom::array items;
        if (value.get(items) != simdjson::SUCCESS) {
            complain(member, "is not a list");
            return;
        }
        for (const element item : items) {
            const QString place = QStringLiteral("%1[%2]").arg(member).arg(out.size());
            read(item, place, out.emplace_back());
        }
    }

    void read(const element& value, const QString& member, ErrorResponse::Errors& out)
    {
        simdjson::dom::object fields;
        if (value.get(fields) != simdjson::SUCCESS) {
            complain(member, "is not an object");
            return;
        }
        QSet<QString>
            names; // of very many, an answer could make a comparison of each with each last long
        for (const auto& [key, texts] : fields) {
            const QString name = platform::fromExactUtf8(key);
            std::vector<QString> list;
            read(texts, member + u'.' + name, list);
            if (names.contains(name))
                continue;
            names.insert(name);
            out.emplace_back(name, QStringList(list.cbegin(), list.cend()));
        }
    }

    void read(const element& value, const QString& member, BoardResponse& out)
    {
        ObjectReader reader(value, member + u'.', m_complaint);
        out.id = reader.required<std::int64_t>("id");
        out.name = reader.optional<QString>("name");
        out.userId = reader.optional<std::int64_t>("user_id");
    }

    void read(const element& value, const QString& member, UserResponse& out)
    {
        ObjectReader reader(value, member + u'.', m_complaint);
        out.id = reader.required<std::int64_t>("id");
        out.name = reader.optional<QString>("name");
        out.email = reader.optional<QString>("email");
        out.phoneNumber = reader.optional<QString>("phone_number");
        out.boards = reader.optional<std::vector<BoardResponse>>("boards");
    }

    std::optional<simdjson::dom::object> m_object;
    QString m_path;
    std::optional<Error>& m_complaint;
};

/// Parses `json` and has `fill` read its members into a record.
template <typename Record, typename Fill> Result<Record> decode(std::string_view json, Fill fill)
{
    platform::StrictJson parser;
    const element* const root = parser.parse(json);
    if (root == nullptr)
        return Error{QStringLiteral("The service gave an answer that is not JSON")};
    std::optional<Error> complaint;
    ObjectReader reader(*root, QString(), complaint);
    Record record = complaint ? Record() : fill(reader);
    if (complaint)
        return *complaint;
    return record;
}

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

Result<TokenResponse> decodeTokenResponse(std::string_view json)
{
    return decode<TokenResponse>(json, [](ObjectReader& reader) {
        return TokenResponse{
            .success = reader.required<bool>("success"),
            .token = reader.optional<QString>("token"),
            .user = reader.optional<UserResponse>("user"),
            .error = reader.optional<QString>("error"),
        };
    });
}

Result<ErrorResponse> decodeErrorResponse(std::string_view json)
{
    return decode<ErrorResponse>(json, [](ObjectReader& reader) {
        return ErrorResponse{
            .message = reader.optional<QString>("message"),
            .errors = reader.optional<ErrorResponse::Errors>("errors"),
        };
    });
}

QString displayName(const std::optional<UserResponse>& user)
{
    if (user && user->name)
        return *user->name;
    return user ? user->email.value_or(kNobody) : kNobody;
}

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
