// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/metrics.h"

#include "service/database/database_text.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <system_error>
#include <unistd.h>

namespace service {

namespace {

constexpr std::string_view kSignIn = "/api/token";
constexpr const char* kContentType = "text/plain; version=0.0.4; charset=utf-8";

std::string shortest(double value)
{
    std::array<char, 32> text = {};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

/// How a sign-in ended that was answered with `status`.
std::string_view resultOfSignIn(int status)
{
    switch (status) {
    case 200:
        return "succeeded";
    case 401:
        return "wrong_password";
    case 429:
        return "held_off";
    default:
        return status >= 400 && status < 500 ? "refused" : "failed";
    }
}

void exposeLanes(Exposition& out, const Database::Figures& figures)
{
    const std::pair<std::string_view, const DatabaseLane::Figures&> lanes[] = {
        {"reading", figures.reading},
        {"writing", figures.writing},
        {"long_uploads", figures.longUploads},
        {"counting", figures.counting},
        {"reports", figures.reports}};
    out.family("velomira_database_waiting", "gauge", "Jobs that wait for a connection.");
    for (const auto& [name, lane] : lanes)
        out.sample(std::uint64_t{lane.waiting}, {{"lane", name}});
    out.family("velomira_database_jobs_total", "counter", "Jobs done on the database.");
    for (const auto& [name, lane] : lanes)
        out.sample(lane.jobs, {{"lane", name}});
    out.family("velomira_database_failures_total", "counter", "Those that failed.");
    for (const auto& [name, lane] : lanes)
        out.sample(lane.failures, {{"lane", name}});
    out.family(
        "velomira_database_waited_seconds_total", "counter", "How long all jobs have waited.");
    for (const auto& [name, lane] : lanes)
        out.sample(lane.waited.count(), {{"lane", name}});
    out.family(
        "velomira_database_worked_seconds_total", "counter", "How long all jobs have taken.");
    for (const auto& [name, lane] : lanes)
        out.sample(lane.worked.count(), {{"lane", name}});
    out.family("velomira_rows_stored_total",
               "counter",
               "Rows of uploads that were acknowledged, with those that came again.");
    out.sample(figures.rowsStored);
}

void exposeStored(Exposition& out, const StoredFigures& stored)
{
    const Counts& counts = stored.counts;
    out.family("velomira_stored_read_timestamp_seconds",
               "gauge",
               "When what follows was read of the database.");
    out.sample(stored.read);
    out.family("velomira_users", "gauge", "Users.");
    out.sample(counts.users);
    out.family("velomira_sessions", "gauge", "Sessions and tokens that are valid.");
    out.sample(counts.sessions);
    out.family("velomira_devices",
               "gauge",
               "Devices that have uploaded: within three of their intervals, or not.");
    out.sample(counts.devicesReporting, {{"state", "reporting"}});
    out.sample(counts.devicesSilent, {{"state", "silent"}});
    out.family("velomira_days_without_pack",
               "gauge",
               "Days that have to be added up before they are read.");
    out.sample(counts.daysWithoutPack);
    out.family("velomira_job_running", "gauge", "Whether an instance is at this job.");
    for (const JobLine& job : stored.jobs)
        out.sample(std::uint64_t{job.isRunning ? 1U : 0U}, {{"name", job.name}});
    out.family("velomira_job_due_timestamp_seconds",
               "gauge",
               "When this job is to be done the next time.");
    for (const JobLine& job : stored.jobs)
        out.sample(job.due, {{"name", job.name}});
    out.family("velomira_job_finished_timestamp_seconds", "gauge", "When this job was last done.");
    for (const JobLine& job : stored.jobs) {
        if (job.finished)
            out.sample(*job.finished, {{"name", job.name}});
    }
    out.family("velomira_job_failures",
               "gauge",
               "How often this job has failed, one after the other, since it was last done.");
    for (const JobLine& job : stored.jobs)
        out.sample(job.failures, {{"name", job.name}});
}

void exposeProcess(Exposition& out, const ProcessFigures& process)
{
    out.family("process_cpu_seconds_total", "counter", "Time of the processors.");
    out.sample(process.cpuSeconds);
    out.family("process_resident_memory_bytes", "gauge", "Memory.");
    out.sample(process.residentBytes);
    out.family("process_open_fds", "gauge", "Open files and connections.");
    out.sample(process.openFiles);
    out.family("process_start_time_seconds", "gauge", "When it was started.");
    out.sample(process.startTime);
}

double secondsOf(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

void RequestFigures::note(const ServedRequest& request)
{
    const double seconds = request.seconds.count();
    const std::lock_guard lock(m_mutex);
    Histogram& histogram = m_histograms[{request.pattern, request.method, request.status}];
    ++histogram.count;
    histogram.seconds += seconds;
    const auto* const end = std::ranges::lower_bound(kEnds, seconds);
    if (end != kEnds.end())
        ++histogram.upTo[static_cast<std::size_t>(end - kEnds.begin())];
}

void RequestFigures::expose(Exposition& out) const
{
    const std::lock_guard lock(m_mutex);
    const auto forEach = [this](const auto& work) {
        for (const auto& [key, histogram] : m_histograms) {
            const auto& [route, method, status] = key;
            // What is no route's has no name of its own, which clients could choose.
            work(route.empty() ? std::string("none") : route,
                 method.empty() ? std::string("none") : method,
                 std::to_string(status),
                 histogram);
        }
    };
    out.family("velomira_http_requests_total",
               "counter",
               "Requests; status 0: there was no one left to answer.");
    forEach([&out](const auto& route, const auto& method, const auto& status, const auto& found) {
        out.sample(found.count, {{"route", route}, {"method", method}, {"status", status}});
    });
    out.family("velomira_http_request_seconds",
               "histogram",
               "From the first byte of a request to the end of its answer.");
    forEach([&out](const auto& route, const auto& method, const auto& status, const auto& found) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < kEnds.size(); ++i) {
            sum += found.upTo[i];
            out.sample(sum,
                       {{"route", route},
                        {"method", method},
                        {"status", status},
                        {"le", shortest(kEnds[i])}},
                       "_bucket");
        }
        out.sample(found.count,
                   {{"route", route}, {"method", method}, {"status", status}, {"le", "+Inf"}},
                   "_bucket");
        out.sample(
            found.seconds, {{"route", route}, {"method", method}, {"status", status}}, "_sum");
        out.sample(
            found.count, {{"route", route}, {"method", method}, {"status", status}}, "_count");
    });
    exposeSignIns(out);
}

void RequestFigures::exposeSignIns(Exposition& out) const
{
    // All of them from the beginning, so that the first one is seen as an increase.
    std::map<std::string_view, std::uint64_t> results = {
        {"succeeded", 0}, {"wrong_password", 0}, {"held_off", 0}, {"refused", 0}, {"failed", 0}};
    for (const auto& [key, histogram] : m_histograms) {
        if (std::get<0>(key) == kSignIn)
            results[resultOfSignIn(std::get<2>(key))] += histogram.count;
    }
    out.family("velomira_sign_ins_total", "counter", "Attempts to sign in, by how they ended.");
    for (const auto& [result, count] : results)
        out.sample(count, {{"result", result}});
}

ProcessFigures processFigures()
{
    static const std::int64_t start = secondsNow(); // first called when the service starts
    ProcessFigures figures;
    rusage used = {};
    ::getrusage(RUSAGE_SELF, &used);
    figures.cpuSeconds = secondsOf(used.ru_utime) + secondsOf(used.ru_stime);
    std::ifstream memory("/proc/self/statm");
    std::int64_t all = 0;
    std::int64_t resident = 0;
    if (memory >> all >> resident)
        figures.residentBytes = resident * ::sysconf(_SC_PAGESIZE);
    std::error_code error;
    const std::filesystem::directory_iterator files("/proc/self/fd", error);
    if (!error)
        figures.openFiles = std::distance(begin(files), end(files));
    figures.startTime = start;
    return figures;
}

std::string metricsText(const RequestFigures& requests,
                        const Database::Figures& lanes,
                        const DatabaseWatch::Seen& seen,
                        const ProcessFigures& process)
{
    Exposition out;
    requests.expose(out);
    exposeLanes(out, lanes);
    out.family("velomira_database_up", "gauge", "Whether the database answers.");
    out.sample(std::uint64_t{seen.isUp ? 1U : 0U});
    out.family("velomira_report_database_up", "gauge", "Whether reports and figures can be read.");
    out.sample(std::uint64_t{seen.canReport ? 1U : 0U});
    if (seen.stored)
        exposeStored(out, *seen.stored);
    exposeProcess(out, process);
    return out.takeText();
}

std::vector<Route>
metricsRoutes(const RequestFigures& requests, const Database& database, DatabaseWatch& watch)
{
    static_cast<void>(processFigures()); // from now on
    const auto answer = [&requests, &database, &watch](Request&) {
        return Answer{.status = 200,
                      .body =
                          metricsText(requests, database.figures(), watch.seen(), processFigures()),
                      .contentType = kContentType};
    };
    return {{.method = "GET", .pattern = "/metrics", .handler = answer}};
}

} // namespace service
