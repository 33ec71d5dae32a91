// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/api/api.h"
#include "service/api/routes.h"
#include "service/command_line.h"
#include "service/database/database.h"
#include "service/database/database_session.h"
#include "service/database/schema.h"
#include "service/database/usual_jobs.h"
#include "service/http/request_body.h"
#include "service/http/server.h"
#include "service/operator/commands.h"
#include "service/operator/database_watch.h"
#include "service/operator/health.h"
#include "service/operator/metrics.h"
#include "service/operator/service_manager.h"
#include "service/password_hasher.h"
#include "service/request_log.h"

#include <QCoreApplication>
#include <QScopeGuard>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <poll.h>
#include <stop_token>
#include <string>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace {

using service::CommandLine;
using service::DatabaseAddress;
using service::DatabaseSession;

constexpr std::size_t kUploadsInFiles = 4;
constexpr std::chrono::seconds kPatienceForTheLog(1);
// The end takes no longer, whatever is in hand; and from when the requests are answered on.
constexpr std::chrono::seconds kLongestEnd(16);
constexpr std::chrono::seconds kLongestRestOfTheEnd(5);
// What they have in hand comes to at most 120 MiB of the shared buffers, and leaves the others
// some.
constexpr std::size_t kConnectionsOfAnAddress = 512;
constexpr std::size_t kConnectionsForFigures = 32;
constexpr std::size_t kOfThemOfAnAddress = 8;

int complain(const std::string& text)
{
    service::writeTrouble(text);
    return EXIT_FAILURE;
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

/// Where the data are, and where reports are read if that is another place.
struct Addresses
{
    DatabaseAddress database;
    std::optional<DatabaseAddress> reports;
};

service::Result<Addresses> addressesOf(const CommandLine& line)
{
    const auto database = service::parseDatabaseAddress(line.database);
    if (!database)
        return database.error();
    Addresses addresses{.database = database.value(), .reports = std::nullopt};
    if (line.reportDatabase.isEmpty())
        return addresses;
    const auto reports = service::parseDatabaseAddress(line.reportDatabase);
    if (!reports)
        return reports.error();
    addresses.reports = reports.value();
    return addresses;
}

/// Few ask for figures, and must not be kept from them by those who use the service.
service::HttpServer::Settings settingsOfMetrics()
{
    service::HttpServer::Settings settings;
    settings.bodyFolder = temporaryFolder();
    settings.limits.connections = kConnectionsForFigures;
    settings.limits.connectionsOfAnAddress = kOfThemOfAnAddress;
    settings.limits.threads = 1;
    settings.limits.workers = 2;
    settings.limits.gatekeepers = 1;
    return settings;
}

void announce(const char* what, const std::string& address, int port, const char* path)
{
    const bool isV6 = address.find(':') != std::string::npos;
    std::printf("velomira-service: %s http://%s%s%s:%d%s\n",
                what,
                isV6 ? "[" : "",
                address.c_str(),
                isV6 ? "]" : "",
                port,
                path);
}

/// Ends the process when its time has come, if it has not ended by then: what is in hand at a
/// database that does not answer cannot be broken off, and is lost to nobody: uploads that were not
/// acknowledged come again, and another instance takes up what a job has left.
class LastMoment final
{
public:
    explicit LastMoment(std::chrono::seconds left)
        : m_end(Clock::now() + left)
        , m_thread([this](const std::stop_token& stop) { wait(stop); })
    {
    }

    /// It comes after so long from now, if that is sooner.
    void isWithin(std::chrono::seconds left)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_end = std::min(m_end, Clock::now() + left);
        }
        m_changed.notify_all();
    }

private:
    using Clock = std::chrono::steady_clock;

    void wait(const std::stop_token& stop)
    {
        std::unique_lock lock(m_mutex);
        while (!stop.stop_requested() && Clock::now() < m_end) {
            const auto end = m_end;
            m_changed.wait_until(lock, stop, end, [&] { return m_end != end; });
        }
        if (stop.stop_requested())
            return;
        service::flushLog(kPatienceForTheLog);
        std::_Exit(EXIT_SUCCESS);
    }

    std::mutex m_mutex;
    std::condition_variable_any m_changed;
    Clock::time_point m_end;
    std::jthread m_thread; // the last one, so that the rest is there when it begins
};

void waitFor(int stop)
{
    pollfd watched = {.fd = stop, .events = POLLIN, .revents = 0};
    while (::poll(&watched, 1, -1) <= 0) {
    }
}

/// Says so when reports could not be read where they should be; the service does without them.
void tryReports(DatabaseAddress address)
{
    // Uploads do not wait long for a replica that is away.
    if (!address.options.contains(QLatin1String("connect_timeout")))
        address.options += (address.options.isEmpty() ? QString() : QStringLiteral(";")) +
                           QStringLiteral("connect_timeout=3");
    const auto opened = DatabaseSession::open(address, DatabaseSession::Purpose::Reports);
    if (!opened) {
        service::writeTrouble("no reports and figures of what is stored: " + opened.error().text);
        return;
    }
    const auto isCurrent = service::hasCurrentSchema(*opened.value());
    if (!isCurrent || !isCurrent.value())
        service::writeTrouble("no reports and figures of what is stored: --report-database does "
                              "not hold the tables of this version");
}

int serve(const Addresses& addresses, const CommandLine& line)
{
    const int stop = terminationDescriptor();
    ::signal(SIGPIPE, SIG_IGN);
    if (addresses.reports)
        tryReports(*addresses.reports);
    std::optional<LastMoment> lastMoment; // until all of the rest has been taken down
    const service::ServiceManager manager(QProcessEnvironment::systemEnvironment());
    service::PasswordHasher hasher;
    service::Database database(addresses.database, addresses.reports);
    service::Api::Limits limits;
    if (line.quota)
        limits.storedBytes = *line.quota << 20U;
    service::Api api(database, hasher, limits);
    service::RequestFigures requests;
    auto routes = service::apiRoutes(api, static_cast<std::uint64_t>(line.largestUpload) << 20U);
    for (service::Route& route : service::healthRoutes(database))
        routes.push_back(std::move(route));
    service::HttpServer server(
        std::move(routes),
        {.limits = limitsFor(line),
         .trustProxy = line.trustProxy,
         .publicUrl = line.publicUrl,
         .bodyFolder = temporaryFolder(),
         .authenticate =
             [&api](const service::Request& request) { return api.authenticate(request); },
         .onServed =
             [&requests](const auto& served) {
                 requests.note(served);
             }});
    const auto port = server.listen(line.address, line.port);
    if (!port)
        return complain(port.error().text);
    std::optional<service::DatabaseWatch> watch;
    std::optional<service::HttpServer> metrics;
    std::optional<int> metricsPort;
    if (line.metrics) {
        watch.emplace(database);
        metrics.emplace(service::metricsRoutes(requests, database, *watch), settingsOfMetrics());
        const auto bound = metrics->listen(line.metrics->address, line.metrics->port);
        if (!bound)
            return complain(bound.error().text);
        metricsPort = bound.value();
    }
    announce("listening on", line.address, port.value(), "");
    if (line.metrics && metricsPort)
        announce("figures at", line.metrics->address, *metricsPort, "/metrics");
    std::fflush(stdout);
    service::JobRunner jobs(addresses.database,
                            service::usualJobs(line.retention),
                            [](const std::string& text) { service::writeTrouble(text); });
    const service::Watchdog watchdog(
        manager, [&server](std::function<void()> work) { server.post(std::move(work)); });
    manager.tell("READY=1");
    waitFor(stop);
    manager.tell("STOPPING=1");
    lastMoment.emplace(kLongestEnd);
    jobs.askToEnd();
    const bool ended = server.serve(stop);
    service::flushLog(kPatienceForTheLog);
    // Threads that cannot be broken off would still use what is about to be taken down.
    if (!ended)
        std::_Exit(EXIT_SUCCESS);
    lastMoment->isWithin(kLongestRestOfTheEnd);
    return EXIT_SUCCESS;
}

/// What Qt's database drivers have to say goes into the log in its form, one line each.
void logQtMessage(QtMsgType type, const QMessageLogContext& /*where*/, const QString& text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        service::writeTrouble(text.toStdString());
}

int run(const CommandLine& line)
{
    const auto addresses = addressesOf(line);
    if (!addresses)
        return complain(addresses.error().text);
    if (line.action == CommandLine::Action::CheckConfig) {
        std::fputs(service::describeSettings(line).c_str(), stdout);
        const auto folder = service::checkFolder(temporaryFolder());
        return folder ? EXIT_SUCCESS : complain(folder.error().text);
    }
    auto opened = DatabaseSession::open(addresses.value().database);
    if (!opened)
        return complain(opened.error().text);
    std::unique_ptr<DatabaseSession> session = std::move(opened).value();
    if (const auto prepared = service::prepareSchema(*session); !prepared)
        return complain(prepared.error().text);
    if (line.action != CommandLine::Action::Serve)
        return service::runCommand(*session, line);
    session.reset();
    return serve(addresses.value(), line);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a Result is looked at before its value is taken
int main(int argc, char** argv)
{
    const auto flush = qScopeGuard([] { service::flushLog(kPatienceForTheLog); });
    ::umask(S_IRWXG | S_IRWXO); // the database and the files beside it hold personal data
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(&logQtMessage);
    const auto line = CommandLine::parse(QCoreApplication::arguments().mid(1),
                                         QProcessEnvironment::systemEnvironment());
    if (!line)
        return complain(line.error().text);
    service::setLogFormat(line.value().log);
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
