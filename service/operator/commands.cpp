// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/commands.h"

#include "base/iso8601.h"
#include "base/json_writer.h"
#include "base/password_prompt.h"
#include "base/terminal_text.h"
#include "service/database/database_text.h"
#include "service/database/old_rows.h"
#include "service/database/summary.h"
#include "service/database/token.h"
#include "service/password_hasher.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>
#include <variant>

namespace service {

namespace {

constexpr std::size_t kFewestCharacters = 10;
constexpr std::int64_t kTokenSeconds = 365LL * 86'400;
constexpr int kRowsAtATime = 1000;
constexpr std::int64_t kUntilSilent = 3 * 60LL; // of each minute of its interval, as in the figures

int complain(const std::string& text)
{
    writeTrouble(text);
    return EXIT_FAILURE;
}

int noSuchUser(const std::string& email)
{
    return complain("there is no user " + email);
}

/// How a command for the user of that address ended: `done` is the number that belongs to `before`
/// and `after`, or nothing when there is no such user.
int report(const DatabaseResult<std::optional<std::int64_t>>& done,
           const std::string& email,
           const char* before,
           const char* after)
{
    if (!done)
        return complain(done.error().text);
    const std::optional<std::int64_t>& number = done.value();
    if (!number)
        return noSuchUser(email);
    std::printf("%s %lld %s\n", before, static_cast<long long>(*number), after);
    return EXIT_SUCCESS;
}

/// A new password of a user: the first line of standard input, asked for twice at a terminal, which
/// shows nothing of it. Blocks until it is there.
Result<terminal::Secret> readNewPassword()
{
    auto answer = terminal::readPassword("Password: ", terminal::Ask::Twice);
    if (const auto* const fault = std::get_if<std::string>(&answer))
        return Error{*fault};
    auto& password = *std::get_if<terminal::Secret>(&answer);
    if (password.characters() < kFewestCharacters)
        return Error{"the password is too short; it needs at least " +
                     std::to_string(kFewestCharacters) + " characters"};
    return std::move(password);
}

/// Of the password that the operator gives.
Result<std::string> readPasswordHash()
{
    const auto password = readNewPassword();
    if (!password)
        return password.error();
    const PasswordHasher hasher;
    auto hash = PasswordHasher::hash(password.value().view());
    if (!hash)
        return Error{"not enough memory to hash the password"};
    return *std::move(hash);
}

int addUser(DatabaseSession& session, const CommandLine& line)
{
    const auto hash = readPasswordHash();
    if (!hash)
        return complain(hash.error().text);
    const auto added = service::addUser(session, line.email, line.name, hash.value());
    if (!added)
        return complain(added.error().text);
    const std::optional<std::int64_t>& user = added.value();
    if (!user)
        return complain("the user " + line.email + " already exists");
    std::printf("added user %lld\n", static_cast<long long>(*user));
    return EXIT_SUCCESS;
}

int setPassword(DatabaseSession& session, const CommandLine& line)
{
    const auto hash = readPasswordHash();
    if (!hash)
        return complain(hash.error().text);
    return report(service::setPassword(session, line.email, hash.value()),
                  line.email,
                  "changed the password and revoked",
                  "tokens");
}

int removeUser(DatabaseSession& session, const CommandLine& line)
{
    const auto progress = [](std::int64_t rows) {
        std::fprintf(stderr, "%lld rows so far\n", static_cast<long long>(rows));
    };
    return report(service::removeUser(session, line.email, progress),
                  line.email,
                  "removed the user and",
                  "rows");
}

/// `text` without what would garble a line, or steer the terminal.
std::string plain(const std::string& text)
{
    return platform::terminalText(QString::fromStdString(text)).toStdString();
}

int printUsers(DatabaseSession& session)
{
    const auto users = listUsers(session);
    if (!users)
        return complain(users.error().text);
    for (const UserLine& user : users.value())
        std::printf("%lld\t%s\t%s\t%s\t%s%s\n",
                    static_cast<long long>(user.id),
                    plain(user.email).c_str(),
                    plain(user.name).c_str(),
                    platform::utcText(user.created).c_str(),
                    user.isAdmin ? "admin" : "user",
                    user.isDisabled ? ", disabled" : "");
    return EXIT_SUCCESS;
}

/// Calls `work` with the number of the user that the command is about; its exit code.
template <typename Work>
int withUser(DatabaseSession& session, const CommandLine& line, const Work& work)
{
    const auto user = findUserId(session, line.email);
    if (!user)
        return complain(user.error().text);
    const std::optional<std::int64_t>& number = user.value();
    if (!number)
        return noSuchUser(line.email);
    return work(*number);
}

int printDevices(DatabaseSession& session, std::int64_t user)
{
    const auto devices = listDevices(session, user);
    if (!devices)
        return complain(devices.error().text);
    const std::int64_t now = secondsNow();
    for (const Device& device : devices.value())
        std::fputs(deviceLine(device, now).c_str(), stdout);
    return EXIT_SUCCESS;
}

int addToken(DatabaseSession& session, const CommandLine& line, std::int64_t user)
{
    const PasswordHasher initialised;
    const std::string token = newToken();
    const auto added = addSession(session,
                                  user,
                                  token,
                                  {.kind = SessionKind::Api,
                                   .scope = line.scope,
                                   .deviceId = {},
                                   .deviceName = "token of the operator",
                                   .userAgent = {},
                                   .secondsValid = kTokenSeconds});
    if (!added)
        return complain(added.error().text);
    std::printf("%s\n", token.c_str());
    return EXIT_SUCCESS;
}

int exportUser(DatabaseSession& session, std::int64_t user)
{
    if (const auto moved = moveRowsOf(session, user); !moved)
        return complain(moved.error().text);
    const auto devices = listDevices(session, user);
    if (!devices)
        return complain(devices.error().text);
    std::optional<StoredRun> last;
    for (;;) {
        const auto runs = runsBehind(session, user, last, kRowsAtATime);
        if (!runs)
            return complain(runs.error().text);
        for (const StoredRun& run : runs.value())
            std::fputs(exportLine(run, devices.value()).c_str(), stdout);
        if (std::ferror(stdout) != 0)
            return complain("standard output takes no more; the export is not whole");
        if (runs.value().empty())
            break;
        last = runs.value().back();
    }
    return std::fflush(stdout) == 0
               ? EXIT_SUCCESS
               : complain("standard output takes no more; the export is not whole");
}

int prune(DatabaseSession& session, const CommandLine& line)
{
    const auto waits = hasOldTable(session);
    if (!waits)
        return complain(waits.error().text);
    if (waits.value())
        return complain("the service has to move the rows of its earlier version first");
    const std::int64_t now = secondsNow();
    Pruning pruning;
    Pruned& pruned = pruning.done;
    if (line.dryRun) {
        const auto counted = countToPrune(session, line.retention, now);
        if (!counted)
            return complain(counted.error().text);
        pruned = counted.value();
    }
    for (bool more = !line.dryRun; more;) {
        const auto step = pruneSome(session, line.retention, now, pruning);
        if (!step)
            return complain(step.error().text);
        more = step.value();
        if (more)
            std::fprintf(stderr, "%lld rows so far\n", static_cast<long long>(pruned.runs));
    }
    std::printf("%s %lld rows, %lld days and %lld months\n",
                line.dryRun ? "would delete" : "deleted",
                static_cast<long long>(pruned.runs),
                static_cast<long long>(pruned.days),
                static_cast<long long>(pruned.partitions));
    return EXIT_SUCCESS;
}

int printSummary(DatabaseSession& session)
{
    const auto lines = summary(session);
    if (!lines)
        return complain(lines.error().text);
    std::fputs(lines.value().c_str(), stdout);
    return EXIT_SUCCESS;
}

std::string instant(const std::optional<std::int64_t>& seconds)
{
    return seconds ? platform::utcText(*seconds) : "never";
}

} // namespace

int runCommand(DatabaseSession& session, const CommandLine& line)
{
    using Action = CommandLine::Action;
    switch (line.action) {
    case Action::AddUser:
        return addUser(session, line);
    case Action::SetPassword:
        return setPassword(session, line);
    case Action::RevokeTokens:
        return report(revokeTokens(session, line.email), line.email, "revoked", "tokens");
    case Action::RemoveUser:
        return removeUser(session, line);
    case Action::ListUsers:
        return printUsers(session);
    case Action::ListDevices:
        return withUser(
            session, line, [&](std::int64_t user) { return printDevices(session, user); });
    case Action::AddToken:
        return withUser(
            session, line, [&](std::int64_t user) { return addToken(session, line, user); });
    case Action::ExportUser:
        return withUser(
            session, line, [&](std::int64_t user) { return exportUser(session, user); });
    case Action::Prune:
        return prune(session, line);
    case Action::Summary:
        return printSummary(session);
    case Action::Serve:
    case Action::CheckConfig:
    case Action::Help:
    case Action::Version:
        break; // are no commands on the database
    }
    return EXIT_FAILURE;
}

std::string describeSettings(const CommandLine& line)
{
    std::string text;
    for (const CommandLine::Setting& setting : line.given)
        text += setting.name + " = " + plain(setting.value) + " (" + plain(setting.source) + ")\n";
    return text;
}

std::string deviceLine(const Device& device, std::int64_t now)
{
    std::string line = std::to_string(device.id) + '\t' + plain(device.name) + '\t' +
                       instant(device.firstSeen) + '\t' + instant(device.lastSeen) + '\t';
    if (!device.lastSeen)
        return line + "-\t-\tsilent\n";
    const std::int64_t interval = device.intervalMinutes.value_or(0);
    // Rounded up, instead of a product that some intervals are too great for.
    const bool isSilent = (now - *device.lastSeen + kUntilSilent - 1) / kUntilSilent > interval;
    return line + "every " + std::to_string(interval) + " min\tclock " +
           std::to_string(device.clockSkewSeconds.value_or(0)) + " s\t" +
           (isSilent ? "silent\n" : "reporting\n");
}

std::string exportLine(const StoredRun& run, const std::vector<Device>& devices)
{
    const auto optionalText = [](std::string& line, const std::optional<std::string>& text) {
        if (text)
            platform::appendJsonString(line, *text);
        else
            line += "null";
    };
    const auto device = std::ranges::find(devices, run.device, &Device::id);
    std::string line = R"({"start":)";
    platform::appendJsonString(line, platform::utcText(run.key.start()));
    line += R"(,"seconds":)" + std::to_string(run.durationSeconds);
    line += R"(,"device":)" + std::to_string(run.device);
    line += R"(,"device_name":)";
    platform::appendJsonString(line, device == devices.end() ? std::string() : device->name);
    line += R"(,"app":)";
    platform::appendJsonString(line, run.appName);
    line += R"(,"title":)";
    optionalText(line, run.windowTitle);
    line += R"(,"url":)";
    optionalText(line, run.url);
    return line + "}\n";
}

} // namespace service
