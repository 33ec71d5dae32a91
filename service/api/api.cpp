// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/api/api.h"

#include "base/ascii.h"
#include "base/json_writer.h"
#include "base/wipe.h"
#include "service/database/database_text.h"
#include "service/database/devices.h"
#include "service/database/token.h"
#include "service/http/client_address.h"
#include "service/request_log.h"
#include "service/sign_in_request.h"
#include "service/upload.h"

#include <QScopeGuard>

#include <algorithm>
#include <utility>

namespace service {

namespace {

constexpr std::chrono::seconds kPatienceForAHash(20);
constexpr std::chrono::seconds kRetryAfterTrouble(10);
/// Bytes of an upload that is stored in one portion.
constexpr std::uint64_t kShortUpload = 128 << 10;
/// Guesses at one account from everywhere are borne as if so many networks guessed.
constexpr std::int64_t kNetworksOfGuessers = 10;
constexpr std::string_view kBearer = "bearer "; // in any case (RFC 9110, section 11.1)

std::string keyOfAccount(const SignInRequest& request)
{
    return digestOf({platform::asciiLower(request.email)});
}

Answer unavailable(const DatabaseFailure& failure, const Request& request)
{
    writeTrouble(failure.text, request.id);
    Answer answer = refusal(503, "The database cannot be used at the moment");
    answer.retryAfter = kRetryAfterTrouble;
    return answer;
}

Answer noRoom()
{
    return refusal(507, "There is no room for more rows of this account");
}

Answer overloaded(const char* what)
{
    Answer answer = refusal(503, what);
    answer.retryAfter = kRetryAfterTrouble;
    return answer;
}

/// The log names the account, by its number; the answer does not tell whether there is one.
Answer wrongPassword(const std::optional<User>& user)
{
    Answer answer = refusal(401, "The e-mail address or the password is wrong");
    if (user)
        answer.user = user->id;
    return answer;
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
    , m_limits(limits)
    , m_longUploads(limits.longUploads)
{
    if (limits.storedBytes)
        m_quota.emplace(m_database, *limits.storedBytes);
}

/// What is known of an attempt to sign in before its password is looked at.
struct Api::Attempt
{
    std::optional<User> user;
    Failures failures;
    bool fromKnownDevice = false;
};

/// Counts from here on, though it may take a while until it is in the database. So the place of the
/// hash, which others wait for, need not be kept until then.
class Api::UnnotedFailure final
{
public:
    UnnotedFailure(Api& api, const std::string& account, const std::string& network)
        : m_api(api)
    {
        const std::lock_guard lock(m_api.m_mutex);
        m_place = m_api.m_unnoted.emplace(account, network);
    }

    UnnotedFailure(const UnnotedFailure&) = delete;
    UnnotedFailure& operator=(const UnnotedFailure&) = delete;

    ~UnnotedFailure()
    {
        const std::lock_guard lock(m_api.m_mutex);
        m_api.m_unnoted.erase(m_place);
    }

private:
    Api& m_api;
    decltype(m_api.m_unnoted)::iterator m_place;
};

Failures Api::unnoted(const std::string& account, const std::string& network)
{
    Failures found;
    const std::lock_guard lock(m_mutex);
    for (const auto& [ofAccount, ofNetwork] : m_unnoted) {
        found.here += ofAccount == account && ofNetwork == network ? 1 : 0;
        found.ofAccount += ofAccount == account ? 1 : 0;
        found.ofNetwork += ofNetwork == network ? 1 : 0;
    }
    return found;
}

Answer Api::signIn(Request& request)
{
    auto decoded = decodeSignInRequest(request.body->takeText());
    if (!decoded)
        return refusal(decoded.error());
    const auto forget = qScopeGuard([&decoded] { platform::wipe(decoded.value().password); });
    return signIn(request, decoded.value(), digestOf({peerKey(request.peer)}));
}

DatabaseResult<Api::Attempt> Api::look(const SignInRequest& request, const std::string& network)
{
    // First, so that one that is being noted is rather counted twice than not at all.
    const Failures more = unnoted(keyOfAccount(request), network);
    return m_database.read([&](DatabaseSession& session) -> DatabaseResult<Attempt> {
        Attempt attempt;
        const auto user = findUser(session, request.email);
        if (!user)
            return user.error();
        attempt.user = user.value();
        const auto failures = failuresOf(session, keyOfAccount(request), network);
        if (!failures)
            return failures.error();
        attempt.failures = failures.value();
        attempt.failures.here += more.here;
        attempt.failures.ofAccount += more.ofAccount;
        attempt.failures.ofNetwork += more.ofNetwork;
        if (attempt.failures.oldest == 0)
            attempt.failures.oldest = secondsNow();
        if (!attempt.user)
            return attempt;
        const auto known = isKnownDevice(session, attempt.user->id, request.deviceId);
        if (!known)
            return known.error();
        attempt.fromKnownDevice = known.value();
        return attempt;
    });
}

std::optional<Answer> Api::refuseOften(const Attempt& attempt) const
{
    const Failures& failures = attempt.failures;
    if (failures.here < m_limits.account.failures &&
        failures.ofAccount < m_limits.account.failures * kNetworksOfGuessers &&
        failures.ofNetwork < m_limits.peer.failures)
        return std::nullopt;
    const std::chrono::seconds wait(
        std::max<std::int64_t>(failures.oldest + kFailureSeconds - secondsNow(), 1));
    const auto minutes = std::chrono::ceil<std::chrono::minutes>(wait).count();
    Answer answer = refusal(429,
                            "Too many failed sign-ins; try again in " + std::to_string(minutes) +
                                (minutes == 1 ? " minute" : " minutes"));
    answer.retryAfter = wait;
    if (attempt.user)
        answer.user = attempt.user->id;
    return answer;
}

DatabaseResult<std::monostate> Api::noteFailure(const SignInRequest& request,
                                                const std::string& network)
{
    return m_database.write([&](DatabaseSession& session) {
        return addFailure(session, keyOfAccount(request), network);
    });
}

Answer Api::signIn(const Request& asked, const SignInRequest& request, const std::string& network)
{
    // Before anything is computed: a flood of refused attempts costs a look into the database each.
    const auto early = look(request, network);
    if (!early)
        return unavailable(early.error(), asked);
    std::optional<Answer> refused = refuseOften(early.value());
    if (refused && !early.value().fromKnownDevice)
        return *std::move(refused);
    const auto patience = std::chrono::ceil<std::chrono::milliseconds>(
        asked.began + kPatienceForAHash - Clock::now());
    auto turn = m_hasher.turn(std::max(patience, std::chrono::milliseconds(0)));
    if (!turn)
        return overloaded("Too many sign-ins at the moment");
    // Again: the attempts that came with this one may have failed meanwhile.
    const auto attempt = look(request, network);
    if (!attempt)
        return unavailable(attempt.error(), asked);
    const std::optional<User>& user = attempt.value().user;
    refused = refuseOften(attempt.value());
    if (refused && !attempt.value().fromKnownDevice)
        return *std::move(refused);
    const bool valid =
        turn->verify(request.password, user ? std::optional(user->passwordHash) : std::nullopt);
    if (!valid || !user) {
        const UnnotedFailure failure(*this, keyOfAccount(request), network);
        turn.reset(); // others need no longer wait, and see it
        if (const auto noted = noteFailure(request, network); !noted)
            return unavailable(noted.error(), asked);
        return refused ? *std::move(refused) : wrongPassword(user);
    }
    turn.reset(); // others need no longer wait
    return welcome(asked, request, network, *user, attempt.value().failures.here > 0);
}

Answer Api::welcome(const Request& asked,
                    const SignInRequest& request,
                    const std::string& network,
                    const User& user,
                    bool hadFailures)
{
    const std::string token = newToken();
    const auto added = m_database.addToken(user, token, request);
    if (!added)
        return unavailable(added.error(), asked);
    if (!added.value())
        return wrongPassword(user);
    if (hadFailures) {
        const auto cleared = m_database.write([&](DatabaseSession& session) {
            return clearFailures(session, keyOfAccount(request), network);
        });
        if (!cleared) // is of no importance for the one who has signed in
            writeTrouble(cleared.error().text, asked.id);
    }
    return signedIn(user, token);
}

Result<std::int64_t, Answer> Api::authenticate(const Request& request)
{
    const Answer refused = refusal(401, "The token is missing or not valid; sign in again");
    const std::string authorization = request.value("authorization");
    const std::string_view header(authorization);
    if (platform::asciiLower(header.substr(0, kBearer.size())) != kBearer)
        return refused;
    const auto found = m_database.sessionOfToken(std::string(header.substr(kBearer.size())));
    if (!found)
        return unavailable(found.error(), request);
    const std::optional<Session>& session = found.value();
    if (!session)
        return refused;
    // The only route that asks stores rows.
    if (!session->mayUpload())
        return refusal(403, "The token is not for uploads");
    // Before the body is sent.
    if (m_quota && m_quota->isKnownToBeFull(session->user)) {
        Answer full = noRoom();
        full.user = session->user;
        return full;
    }
    return session->user;
}

Answer Api::store(Request& request)
{
    // NOLINTNEXTLINE(bugprone-unchecked-optional-access): the route lets nobody in without one
    const std::int64_t user = *request.user;
    RequestBody& body = *request.body;
    const bool mayTakeLong = body.size() > kShortUpload;
    if (mayTakeLong && !m_longUploads.try_acquire())
        return overloaded("Too many long uploads at the moment");
    const auto giveBack = qScopeGuard([this, mayTakeLong] {
        if (mayTakeLong)
            m_longUploads.release();
    });
    std::optional<StorageQuota::Reservation> reserved =
        m_quota ? m_quota->reserve(user, static_cast<std::int64_t>(body.size())) : std::nullopt;
    if (m_quota && !reserved)
        return noRoom();
    UploadReader reader([&body](std::uint64_t offset) { return body.piece(offset); });
    const auto head = reader.check();
    if (!head)
        return refusal(head.error());
    const auto stored = m_database.store(user, head.value(), [&reader] { return reader.next(); });
    if (!stored)
        return unavailable(stored.error(), request);
    if (reserved)
        reserved->keep();
    return {.status = 201,
            .body = R"({"success":true,"stored":)" + std::to_string(stored.value()) + '}'};
}

} // namespace service
