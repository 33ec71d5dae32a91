// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/password_prompt.h"
#include "service/accounts.h"
#include "service/activity_rows.h"
#include "service/api/api.h"
#include "service/api/routes.h"
#include "service/command_line.h"
#include "service/database.h"
#include "service/database_session.h"
#include "service/http/server.h"
#include "service/password_hasher.h"
#include "service/request_log.h"
#include "service/schema.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <utility>
#include <variant>

namespace {

using service::CommandLine;
using service::DatabaseAddress;
using service::DatabaseSession;

constexpr std::size_t kFewestCharacters = 10;
constexpr std::size_t kUploadsInFiles = 4;
constexpr std::chrono::seconds kPatienceForTheLog(1);
// What they have in hand is at most 64 MiB of buffers, and leaves the others theirs.
constexpr std::size_t kConnectionsOfAnAddress = 512;

int complain(const std::string& text)
{
    std::fprintf(stderr, "velomira-service: %s\n", text.c_str());
    return EXIT_FAILURE;
}

/// How a command for the user of that address ended: `done` is the number that belongs to `before`
/// and `after`, or nothing when there is no such user.
int report(const service::DatabaseResult<std::optional<std::int64_t>>& done,
           const std::string& email,
           const char* before,
           const char* after)
{
    if (!done)
        return complain(done.error().text);
    const std::optional<std::int64_t>& number = done.value();
    if (!number)
        return complain("there is no user " + email);
    std::printf("%s %lld %s\n", before, static_cast<long long>(*number), after);
    return EXIT_SUCCESS;
}

/// A new password of a user: the first line of standard input, asked for twice at a terminal, which
/// shows nothing of it. Blocks until it is there.
service::Result<terminal::Secret> readNewPassword()
{
    auto answer = terminal::readPassword("Password: ", terminal::Ask::Twice);
    if (const auto* const fault = std::get_if<std::string>(&answer))
        return service::Error{*fault};
    auto& password = *std::get_if<terminal::Secret>(&answer);
    if (password.characters() < kFewestCharacters)
        return service::Error{"the password is too short; it needs at least " +
                              std::to_string(kFewestCharacters) + " characters"};
    return std::move(password);
}

/// Of the password that the operator gives.
service::Result<std::string> readPasswordHash()
{
    const auto password = readNewPassword();
    if (!password)
        return password.error();
    const service::PasswordHasher hasher;
    auto hash = service::PasswordHasher::hash(password.value().view());
    if (!hash)
        return service::Error{"not enough memory to hash the password"};
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

int printSummary(DatabaseSession& session)
{
    const auto lines = service::summary(session);
    if (!lines)
        return complain(lines.error().text);
    std::fputs(lines.value().c_str(), stdout);
    return EXIT_SUCCESS;
}

/// Blocks the signals that end the service, for all threads started later, and reports them here.
int terminationDescriptor()
{
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGTERM);
    ::sigaddset(&set, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// As many descriptors as the system lets us have; how many that are.
std::size_t mostDescriptors()
{
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

service::HttpLimits limitsFor(const CommandLine& line)
{
    service::HttpLimits limits;
    // The others are for the databases and for long uploads.
    limits.connections = std::min(limits.connections, mostDescriptors() / 4 * 3);
    limits.allBodiesInFiles = static_cast<std::size_t>(line.largestUpload) * kUploadsInFiles << 20U;
    // To us all clients of a proxy have its address.
    if (!line.trustProxy)
        limits.connectionsOfAnAddress = kConnectionsOfAnAddress;
    return limits;
}

/// Where long uploads wait: not necessarily a folder that lies in memory.
std::string temporaryFolder()
{
    for (const char* name : {"TMPDIR", "STATE_DIRECTORY"}) {
        if (const QByteArray folder = qgetenv(name); !folder.isEmpty())
            return folder.toStdString();
    }
    return "/var/tmp";
}

int serve(const DatabaseAddress& address, const CommandLine& line)
{
    const int stop = terminationDescriptor();
    ::signal(SIGPIPE, SIG_IGN);
    service::PasswordHasher hasher;
    service::Database database(address);
    service::Api api(database, hasher, {});
    service::HttpServer server(
        service::apiRoutes(api, static_cast<std::uint64_t>(line.largestUpload) << 20U),
        {.limits = limitsFor(line),
         .trustProxy = line.trustProxy,
         .publicUrl = line.publicUrl,
         .bodyFolder = temporaryFolder(),
         .authenticate = [&api](const std::string& header) {
             return api.authenticate(header);
         }});
    const auto port = server.listen(line.address, line.port);
    if (!port)
        return complain(port.error().text);
    const bool isV6 = line.address.find(':') != std::string::npos;
    std::printf("velomira-service: listening on http://%s%s%s:%d\n",
                isV6 ? "[" : "",
                line.address.c_str(),
                isV6 ? "]" : "",
                port.value());
    std::fflush(stdout);
    const bool ended = server.serve(stop);
    service::flushLog(kPatienceForTheLog);
    // Threads that cannot be broken off would still use what is about to be taken down.
    if (!ended)
        std::_Exit(EXIT_SUCCESS);
    return EXIT_SUCCESS;
}

int run(const CommandLine& line)
{
    const auto address = service::parseDatabaseAddress(line.database);
    if (!address)
        return complain(address.error().text);
    auto opened = DatabaseSession::open(address.value());
    if (!opened)
        return complain(opened.error().text);
    std::unique_ptr<DatabaseSession> session = std::move(opened).value();
    if (const auto prepared = service::prepareSchema(*session); !prepared)
        return complain(prepared.error().text);
    switch (line.action) {
    case CommandLine::Action::AddUser:
        return addUser(*session, line);
    case CommandLine::Action::SetPassword:
        return setPassword(*session, line);
    case CommandLine::Action::RevokeTokens:
        return report(service::revokeTokens(*session, line.email), line.email, "revoked", "tokens");
    case CommandLine::Action::RemoveUser:
        return report(
            service::removeUser(*session, line.email), line.email, "removed the user and", "rows");
    case CommandLine::Action::Summary:
        return printSummary(*session);
    default:
        break;
    }
    session.reset();
    return serve(address.value(), line);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a Result is looked at before its value is taken
int main(int argc, char** argv)
{
    ::umask(S_IRWXG | S_IRWXO); // the database and the files beside it hold personal data
    const QCoreApplication application(argc, argv);
    const auto line = CommandLine::parse(QCoreApplication::arguments().mid(1));
    if (!line)
        return complain(line.error().text);
    if (line.value().action == CommandLine::Action::Help) {
        std::fputs(CommandLine::help(), stdout);
        return EXIT_SUCCESS;
    }
    if (line.value().action == CommandLine::Action::Version) {
        std::puts("velomira-service " VELOMIRA_SERVICE_VERSION);
        return EXIT_SUCCESS;
    }
    return run(line.value());
}
