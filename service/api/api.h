// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/answer.h"
#include "service/api/storage_quota.h"
#include "service/database/database.h"
#include "service/http/request.h"
#include "service/password_hasher.h"
#include "service/result.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <semaphore>
#include <set>
#include <string>
#include <utility>
#include <variant>

namespace service {

/// What the service does with requests, apart from HTTP. docs/formats.md has the bodies.
/// Any thread; calls block on the database, and signing in on a slow hash.
class Api final
{
public:
    using Clock = std::chrono::steady_clock;

    struct Limits
    {
        /// So many failures within a quarter of an hour are borne.
        struct Bound
        {
            std::int64_t failures = 0;
        };

        /// Of an account from one client's network; from all of them together ten times as many.
        Bound account = {.failures = 10};
        /// Of one client's network.
        Bound peer = {.failures = 50};
        /// Uploads in hand that may take long, all of which may wait for the same thing; the other
        /// workers are for everybody else.
        std::ptrdiff_t longUploads = 16;
        /// Of each user's rows; see StorageQuota.
        std::optional<std::int64_t> storedBytes = std::nullopt;
    };

    Api(Database& database, PasswordHasher& hasher, const Limits& limits);

    /// POST /api/token. Who has waited too long since the request began is put off.
    [[nodiscard]] Answer signIn(Request& request);

    /// Whose request it is, by its header Authorization; else how it is answered.
    [[nodiscard]] Result<std::int64_t, Answer> authenticate(const Request& request);

    /// POST /api/activity-log of an authenticated user.
    [[nodiscard]] Answer store(Request& request);

private:
    struct Attempt;
    class UnnotedFailure;

    [[nodiscard]] Answer
    signIn(const Request& asked, const SignInRequest& request, const std::string& network);
    [[nodiscard]] Answer welcome(const Request& asked,
                                 const SignInRequest& request,
                                 const std::string& network,
                                 const User& user,
                                 bool hadFailures);
    [[nodiscard]] DatabaseResult<Attempt> look(const SignInRequest& request,
                                               const std::string& network);
    [[nodiscard]] Failures unnoted(const std::string& account, const std::string& network);
    [[nodiscard]] std::optional<Answer> refuseOften(const Attempt& attempt) const;
    [[nodiscard]] DatabaseResult<std::monostate> noteFailure(const SignInRequest& request,
                                                             const std::string& network);

    Database& m_database;
    PasswordHasher& m_hasher;
    Limits m_limits;
    std::optional<StorageQuota> m_quota;
    std::counting_semaphore<> m_longUploads;
    std::mutex m_mutex;
    /// The failures that are not in the database yet, by account and network.
    std::multiset<std::pair<std::string, std::string>> m_unnoted;
};

} // namespace service
