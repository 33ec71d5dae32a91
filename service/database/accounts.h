// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/sign_in_request.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace service {

/// The users and their tokens in the database; see DatabaseSession for threads and blocking. E-mail
/// addresses are the same when they differ only in the case of ASCII letters.

struct User
{
    std::int64_t id = 0;
    std::string email;
    std::string name;
    std::optional<std::string> phoneNumber;
    std::string passwordHash;
};

/// Adds a user; the new number, or nothing when there is one with that address. A number is never
/// given twice, so that what is on its way for a user who is removed reaches nobody else.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> addUser(DatabaseSession& session,
                                                                  const std::string& email,
                                                                  const std::string& name,
                                                                  const std::string& passwordHash);

/// The number of the user of that address, also of one who is disabled.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> findUserId(DatabaseSession& session,
                                                                     const std::string& email);

/// The user of that address who may sign in: not one who is disabled.
[[nodiscard]] DatabaseResult<std::optional<User>> findUser(DatabaseSession& session,
                                                           const std::string& email);

/// What a session may do: an upload stores rows, `Read` reads them, `Manage` also changes things.
enum class Scope : std::uint8_t { Upload, Read, Manage };
enum class SessionKind : std::uint8_t { Application, Browser, Api };

struct NewSession
{
    SessionKind kind = SessionKind::Application;
    Scope scope = Scope::Upload;
    std::string deviceId;
    std::string deviceName;
    std::string userAgent;
    std::int64_t secondsValid = 0;
    bool lastsFromUse = false; ///< so long from each use on, instead of from now on
};

/// A session, without its token.
struct Session
{
    std::int64_t user = 0;
    std::string id; ///< the digest of its token
    SessionKind kind = SessionKind::Application;
    Scope scope = Scope::Upload;
    std::string deviceId;
    std::string deviceName;
    std::string userAgent;
    // Seconds since 1970-01-01T00:00:00Z.
    std::int64_t created = 0;
    std::int64_t lastUsed = 0; ///< not noted with each use, see needsNote()
    std::int64_t expires = 0;
    std::int64_t idleSeconds = 0; ///< it ends so long after its last use; 0: at its time

    /// Whether it may store what applications upload. A browser sends its session by itself, also
    /// when another site has it send a request.
    [[nodiscard]] bool mayUpload() const
    {
        return kind != SessionKind::Browser && scope != Scope::Read;
    }
};

/// A session ends when it has not been used for so long: an application's, a browser's, and that of
/// a browser whose user wanted to stay signed in.
inline constexpr std::int64_t kApplicationSessionSeconds = 90LL * 86'400;
inline constexpr std::int64_t kBrowserSessionSeconds = 12LL * 3600;
inline constexpr std::int64_t kKeptBrowserSessionSeconds = 30LL * 86'400;

/// Makes `token` valid for `user` on the device of `request`, as an application's session. That of
/// an earlier sign-in on the device ends ten minutes later: what it has on its way still arrives.
/// False when the user is gone, disabled or has another password by now. Of many such sessions of a
/// user only the newest 50 stay.
[[nodiscard]] DatabaseResult<bool> addToken(DatabaseSession& session,
                                            const User& user,
                                            const std::string& token,
                                            const SignInRequest& request);

/// Makes `token` valid for the user of that number in any other way.
[[nodiscard]] DatabaseResult<std::monostate> addSession(DatabaseSession& session,
                                                        std::int64_t user,
                                                        const std::string& token,
                                                        const NewSession& made);

/// The session of `token`; nothing when it is not valid, or its user is disabled.
[[nodiscard]] DatabaseResult<std::optional<Session>> sessionOfToken(DatabaseSession& session,
                                                                    const std::string& token);

/// Whether a use of it is to be noted: the last one was an hour ago, or less for a session that
/// does not last long without use.
[[nodiscard]] bool needsNote(const Session& used, std::int64_t now);

/// Notes that it is used at `now`, and lets it last from there if that is how it ends.
[[nodiscard]] DatabaseResult<std::monostate>
noteUse(DatabaseSession& session, const Session& used, std::int64_t now);

/// Those that are valid, newest first.
[[nodiscard]] DatabaseResult<std::vector<Session>> listSessions(DatabaseSession& session,
                                                                std::int64_t user);

/// Ends one; false when there is none of that id.
[[nodiscard]] DatabaseResult<bool>
endSession(DatabaseSession& session, std::int64_t user, const std::string& id);

/// Deletes what has expired: sessions and failures. A step of a job.
[[nodiscard]] DatabaseResult<std::int64_t> deleteExpired(DatabaseSession& session,
                                                         std::int64_t now);

/// Gives a user, also one who is disabled, another password and ends all tokens; how many there
/// were, or nothing when there is no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>>
setPassword(DatabaseSession& session, const std::string& email, const std::string& passwordHash);

/// Deletes a user with all tokens and uploads, at once for everybody else and then in portions; how
/// many rows there were, or nothing when there is no such user. What is left when it is broken off
/// is deleted by eraseSome(). `progress` gets that number after each portion.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>>
removeUser(DatabaseSession& session,
           const std::string& email,
           const std::function<void(std::int64_t)>& progress = {});

/// Deletes a portion of what users who are being removed have left; false when there is nothing. A
/// step of a job. `rows` is what was deleted of uploads.
[[nodiscard]] DatabaseResult<bool> eraseSome(DatabaseSession& session, std::int64_t& rows);

/// Ends all tokens of a user; how many there were, or nothing when there is no such user.
[[nodiscard]] DatabaseResult<std::optional<std::int64_t>> revokeTokens(DatabaseSession& session,
                                                                       const std::string& email);

/// A user as operators see one.
struct UserLine
{
    std::int64_t id = 0;
    std::string email;
    std::string name;
    bool isAdmin = false;
    bool isDisabled = false;
    std::int64_t created = 0; ///< seconds since 1970
};

/// All of them, by number.
[[nodiscard]] DatabaseResult<std::vector<UserLine>> listUsers(DatabaseSession& session);

/// Failed sign-ins count for so long.
inline constexpr std::int64_t kFailureSeconds = 15LL * 60;

/// Sign-ins that failed within that time, shared by all instances. Account and network
/// are digests or names of the caller's choice, no user numbers: there may be no such user.
struct Failures
{
    std::int64_t here = 0; ///< of this account from this network
    std::int64_t ofAccount = 0;
    std::int64_t ofNetwork = 0;
    std::int64_t oldest = 0; ///< of the account's or the network's; seconds since 1970
};

[[nodiscard]] DatabaseResult<std::monostate>
addFailure(DatabaseSession& session, const std::string& account, const std::string& network);
[[nodiscard]] DatabaseResult<Failures>
failuresOf(DatabaseSession& session, const std::string& account, const std::string& network);
/// After a success of this account from this network.
[[nodiscard]] DatabaseResult<std::monostate>
clearFailures(DatabaseSession& session, const std::string& account, const std::string& network);

/// For metrics; nothing in it is about one user.
struct Counts
{
    std::int64_t users = 0;
    std::int64_t sessions = 0;
    std::int64_t devicesReporting = 0; ///< within three of their intervals
    std::int64_t devicesSilent = 0;    ///< others that have uploaded
    std::int64_t daysWithoutPack = 0;
};

[[nodiscard]] DatabaseResult<Counts> countAll(DatabaseSession& session, std::int64_t now);

} // namespace service
