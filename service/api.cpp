// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/api.h"

#include "base/ascii.h"
#include "base/json_writer.h"
#include "base/wipe.h"
#include "service/database/token.h"
#include "service/request_log.h"
#include "service/sign_in_request.h"
#include "service/upload.h"

#include <QScopeGuard>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <utility>

namespace service {

namespace {

constexpr std::chrono::seconds kPatienceForAHash(20);
constexpr std::chrono::seconds kRetryAfterTrouble(10);
constexpr std::string_view kBearer = "bearer "; // in any case (RFC 9110, section 11.1)

Answer unavailable(const DatabaseFailure& failure)
{
    writeLog("velomira-service: " + failure.text + '\n');
    Answer answer = refusal(503, "The database cannot be used at the moment");
    answer.retryAfter = kRetryAfterTrouble;
    return answer;
}

Answer overloaded()
{
    Answer answer = refusal(503, "Too many sign-ins at the moment");
    answer.retryAfter = kRetryAfterTrouble;
    return answer;
}

Answer wrongPassword()
{
    return refusal(401, "The e-mail address or the password is wrong");
}

Answer signedIn(const User& user, const std::string& token)
{
    std::string body = R"({"success":true,"token":)";
    platform::appendJsonString(body, token);
    body += R"(,"user":{"id":)" + std::to_string(user.id) + R"(,"name":)";
    platform::appendJsonString(body, user.name);
    body += R"(,"email":)";
    platform::appendJsonString(body, user.email);
    body += R"(,"phone_number":)";
    if (user.phoneNumber)
        platform::appendJsonString(body, *user.phoneNumber);
    else
        body += "null";
    body += R"(,"boards":[]}})";
    return {.status = 200, .body = std::move(body), .user = user.id};
}

} // namespace

Api::Api(Database& database, PasswordHasher& hasher, const Limits& limits)
    : m_database(database)
    , m_hasher(hasher)
    , m_accountFailures(limits.account)
    , m_peerFailures(limits.peer)
{
}

Answer Api::signIn(std::string body, const std::string& peer)
{
    auto request = decodeSignInRequest(std::move(body));
    if (!request)
        return refusal(request.error());
    const auto forget = qScopeGuard([&request] { platform::wipe(request.value().password); });
    // Before anything is asked or computed: a flood of refused attempts costs next to nothing.
    if (auto refused = refuseOften(platform::asciiLower(request.value().email), peer))
        return *std::move(refused);
    const auto user = m_database.findUser(request.value().email);
    if (!user)
        return unavailable(user.error());
    return signIn(request.value(), peer, user.value());
}

std::optional<Answer> Api::refuseOften(const std::string& account, const std::string& peer)
{
    const auto wait =
        std::max(m_accountFailures.wait(digestOf({account})), m_peerFailures.wait(peerKey(peer)));
    if (!wait)
        return std::nullopt;
    const auto minutes = std::chrono::ceil<std::chrono::minutes>(*wait).count();
    Answer answer = refusal(429,
                            "Too many failed sign-ins; try again in " + std::to_string(minutes) +
                                (minutes == 1 ? " minute" : " minutes"));
    answer.retryAfter = *wait;
    return answer;
}

Answer
Api::signIn(const SignInRequest& request, const std::string& peer, const std::optional<User>& user)
{
    const std::string account = platform::asciiLower(request.email);
    {
        const auto turn = m_hasher.turn(kPatienceForAHash);
        if (!turn)
            return overloaded();
        // Again: the attempts that came with this one may have failed meanwhile.
        if (std::optional<Answer> refused = refuseOften(account, peer))
            return *std::move(refused);
        const bool valid =
            turn->verify(request.password, user ? std::optional(user->passwordHash) : std::nullopt);
        if (!valid || !user) {
            m_accountFailures.addFailure(digestOf({account}));
            m_peerFailures.addFailure(peerKey(peer));
            return wrongPassword();
        }
    }
    const std::string token = newToken();
    const auto added = m_database.addToken(*user, token, request);
    if (!added)
        return unavailable(added.error());
    if (!added.value())
        return wrongPassword();
    return signedIn(*user, token);
}

Result<std::int64_t, Answer> Api::authenticate(const std::string& authorization)
{
    const Answer refused = refusal(401, "The token is missing or not valid; sign in again");
    const std::string_view header(authorization);
    if (platform::asciiLower(header.substr(0, kBearer.size())) != kBearer)
        return refused;
    const auto found = m_database.uploaderOfToken(std::string(header.substr(kBearer.size())));
    if (!found)
        return unavailable(found.error());
    const std::optional<std::int64_t>& user = found.value();
    if (!user)
        return refused;
    return *user;
}

Answer Api::store(std::int64_t user, std::string body)
{
    Answer answer;
    {
        m_decoders.acquire();
        auto upload = decodeUpload(std::move(body));
        m_decoders.release();
        if (!upload) {
            answer = refusal(upload.error());
        } else if (const auto stored =
                       m_database.store(user,
                                        {.deviceId = upload.value().deviceId,
                                         .syncTimestamp = upload.value().syncTimestamp,
                                         .intervalMinutes = upload.value().intervalMinutes},
                                        [&, given = false]() mutable {
                                            return std::exchange(given, true)
                                                       ? std::vector<UploadedActivity>()
                                                       : upload.value().activities;
                                        });
                   !stored) {
            answer = unavailable(stored.error());
        } else {
            answer = {.status = 201,
                      .body =
                          R"({"success":true,"stored":)" + std::to_string(stored.value()) + '}'};
        }
    }
    answer.user = user;
    return answer;
}

std::string peerKey(const std::string& address)
{
    std::array<unsigned char, 16> bytes = {};
    if (::inet_pton(AF_INET6, address.c_str(), bytes.data()) != 1)
        return address;
    // An IPv4 address in the clothes of IPv6 is one of many in the same 64 bits.
    constexpr std::array<unsigned char, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const std::size_t significant =
        std::equal(kMapped.begin(), kMapped.end(), bytes.begin()) ? bytes.size() : 8;
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(significant)};
}

} // namespace service
