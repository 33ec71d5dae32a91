// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/database/database.h"
#include "service/failure_limiter.h"
#include "service/password_hasher.h"
#include "service/result.h"

#include <cstdint>
#include <semaphore>
#include <string>

namespace service {

/// What the service does with requests, apart from HTTP. docs/formats.md has the bodies.
/// Any thread; calls block on the database, and signing in on a slow hash.
class Api final
{
public:
    struct Limits
    {
        FailureLimiter::Settings account = {.failures = 10};
        FailureLimiter::Settings peer = {.failures = 50};
    };

    Api(Database& database, PasswordHasher& hasher, const Limits& limits);

    /// POST /api/token with `body` from the address `peer`.
    [[nodiscard]] Answer signIn(std::string body, const std::string& peer);

    /// Whose request it is, by its header Authorization; else how it is answered.
    [[nodiscard]] Result<std::int64_t, Answer> authenticate(const std::string& authorization);

    /// POST /api/activity-log with `body` from an authenticated user.
    [[nodiscard]] Answer store(std::int64_t user, std::string body);

private:
    static constexpr int kDecodedAtTheSameTime = 2;

    [[nodiscard]] std::optional<Answer> refuseOften(const std::string& account,
                                                    const std::string& peer);
    [[nodiscard]] Answer
    signIn(const SignInRequest& request, const std::string& peer, const std::optional<User>& user);

    Database& m_database;
    PasswordHasher& m_hasher;
    FailureLimiter m_accountFailures;
    FailureLimiter m_peerFailures;
    // A parsed body takes many times its length.
    std::counting_semaphore<kDecodedAtTheSameTime> m_decoders{kDecodedAtTheSameTime};
};

/// What counts as one peer for its failures: an IPv4 address, or the 64 bits of IPv6 that one
/// customer has to choose from.
[[nodiscard]] std::string peerKey(const std::string& address);

} // namespace service
