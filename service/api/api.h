// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/database.h"
#include "service/failure_limiter.h"
#include "service/http/request_body.h"
#include "service/password_hasher.h"
#include "service/result.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace service {

/// What the service does with requests, apart from HTTP. docs/formats.md has the bodies.
/// Any thread; calls block on the database, and signing in on a slow hash.
class Api final
{
public:
    using Clock = std::chrono::steady_clock;

    struct Limits
    {
        FailureLimiter::Settings account = {.failures = 10};
        FailureLimiter::Settings peer = {.failures = 50};
    };

    Api(Database& database, PasswordHasher& hasher, const Limits& limits);

    /// POST /api/token with `body` from the address `peer`, of a request that began at `began`: who
    /// has waited too long since then is put off.
    [[nodiscard]] Answer signIn(std::string body, const std::string& peer, Clock::time_point began);

    /// Whose request it is, by its header Authorization; else how it is answered.
    [[nodiscard]] Result<std::int64_t, Answer> authenticate(const std::string& authorization);

    /// POST /api/activity-log with `body` from an authenticated user.
    [[nodiscard]] Answer store(std::int64_t user, RequestBody& body);

private:
    [[nodiscard]] std::optional<Answer> refuseOften(const std::string& account,
                                                    const std::string& peer);
    [[nodiscard]] Answer signIn(const SignInRequest& request,
                                const std::string& peer,
                                Clock::time_point began,
                                const std::optional<User>& user);

    Database& m_database;
    PasswordHasher& m_hasher;
    FailureLimiter m_accountFailures;
    FailureLimiter m_peerFailures;
};

} // namespace service
