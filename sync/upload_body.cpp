// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"

#include "base/iso8601.h"
#include "base/json_writer.h"
#include "base/truncated.h"
#include "base/url_components.h"

#include <QLatin1StringView>
#include <QUtf8StringView>
#include <QtGlobal>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <utility>

namespace syncing {

namespace {

using activity::SharedText;

SharedText withoutQuery(const SharedText& address)
{
    if (!platform::hasUrlQuery(address.view()))
        return address;
    return SharedText(platform::withoutUrlQuery(address.view()));
}

std::int64_t wholeSeconds(double duration)
{
    const auto seconds = platform::truncated(duration);
    if (!seconds)
        qFatal("The duration of a run, %f s, is not a number of seconds", duration);
    return *seconds;
}

std::string startTime(double timestamp)
{
    auto text = platform::iso8601(timestamp);
    if (!text)
        qFatal("The start of a run, %f s, is not an instant", timestamp);
    return *std::move(text);
}

bool isValidUtf8(std::string_view text)
{
    return QUtf8StringView(text.data(), static_cast<qsizetype>(text.size())).isValidUtf8();
}

void appendInteger(std::string& out, std::int64_t value)
{
    std::array<char, 20> digits{}; // the lowest one has 20 characters
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), result.ptr);
}

platform::Error notValid(QLatin1StringView what)
{
    return {.text = what + QLatin1StringView(" is not valid UTF-8")};
}

using activity::ActivityList;
using activity::ActivityLog;

/// Samples, each of them a row of its own: that takes half a millisecond.
constexpr std::size_t kShort = 1'000;

SharedOrder extended(const Order& order, std::size_t size)
{
    auto longer = std::make_shared<Order>();
    longer->reserve(size);
    *longer = order;
    while (longer->size() < size)
        longer->push_back(static_cast<std::uint32_t>(longer->size()));
    return longer;
}

/// Writes the body, a row with each call.
class Parts final
{
public:
    Parts(std::string beginning, RunReader runs)
        : m_beginning(std::move(beginning))
        , m_runs(std::move(runs))
    {
    }

    [[nodiscard]] bool operator()(std::string& out)
    {
        if (m_isAtEnd)
            return false;
        const bool isFirst = !m_beginning.empty();
        out += std::exchange(m_beginning, {});
        const std::optional<AggregatedLog> run = m_runs.next();
        m_isAtEnd = !run;
        if (m_isAtEnd) {
            out += kEndOfBody;
            return true;
        }
        if (!isFirst)
            out += kBetweenRows;
        appendRow(out, uploadRow(*run));
        return true;
    }

private:
    std::string m_beginning;
    RunReader m_runs;
    bool m_isAtEnd = false;
};

} // namespace

ActivityLogPayload uploadRow(const AggregatedLog& run)
{
    const activity::ActivityLog& first = run.log;
    return {
        .app_name = first.appName,
        .window_title = first.windowTitle,
        .url = first.url ? std::optional(withoutQuery(*first.url)) : std::nullopt,
        .duration_seconds = wholeSeconds(run.duration),
        .start_time = startTime(first.timestamp),
    };
}

platform::Result<std::string> beginningOf(const ActivityPayload& payload)
{
    if (!isValidUtf8(payload.device_id))
        return notValid(QLatin1StringView("the identity of the device"));
    if (!isValidUtf8(payload.sync_timestamp))
        return notValid(QLatin1StringView("the time of the upload"));
    std::string out = R"({"device_id":)";
    platform::appendJsonString(out, payload.device_id);
    out += R"(,"sync_timestamp":)";
    platform::appendJsonString(out, payload.sync_timestamp);
    out += R"(,"interval_minutes":)";
    appendInteger(out, payload.interval_minutes);
    out += R"(,"activities":[)";
    return out;
}

void appendRow(std::string& out, const ActivityLogPayload& row)
{
    out += R"({"app_name":)";
    platform::appendJsonString(out, row.app_name.view());
    if (row.window_title) {
        out += R"(,"window_title":)";
        platform::appendJsonString(out, row.window_title->view());
    }
    if (row.url) {
        out += R"(,"url":)";
        platform::appendJsonString(out, row.url->view());
    }
    out += R"(,"duration_seconds":)";
    appendInteger(out, row.duration_seconds);
    out += R"(,"start_time":)";
    platform::appendJsonString(out, row.start_time);
    out += '}';
}

bool FoldedRows::takesLong(const ActivityList& logs) const
{
    const bool isLonger = logs.startsWith(m_logs);
    const std::size_t news = isLonger ? logs.size() - m_logs.size() : logs.size();
    if (news > kShort)
        return true;
    const bool isCopied = !continues(logs) || m_order != nullptr;
    return isCopied && logs.size() > kShort;
}

void FoldedRows::extend(const ActivityList& logs)
{
    if (!continues(logs))
        *this = FoldedRows();
    if (m_logs.empty())
        m_order = orderOf(logs);
    else if (m_order != nullptr)
        m_order = extended(*m_order, logs.size()); // the one before may be in use yet
    for (std::size_t i = m_logs.size(); i < logs.size(); ++i)
        take(logs[m_order != nullptr ? (*m_order)[i] : i]);
    m_logs = logs;
    m_openBytes = m_open ? sizeOf(*m_open) : 0;
}

std::int64_t FoldedRows::bytes() const
{
    return m_closedBytes + m_openBytes + std::max<std::int64_t>(0, rowCount() - 1);
}

/// Whether `logs` are those before and others that come after all of them.
bool FoldedRows::continues(const ActivityList& logs) const
{
    if (m_logs.empty() || !logs.startsWith(m_logs))
        return false;
    const std::size_t last = m_order != nullptr ? m_order->back() : m_logs.size() - 1;
    return isInOrder(logs, last, m_logs.size());
}

void FoldedRows::take(const ActivityLog& log)
{
    if (m_open && m_open->take(log))
        return;
    if (m_open) {
        ++m_closedRows;
        m_closedBytes += sizeOf(*m_open);
    }
    m_open = OpenRun(log);
}

std::int64_t FoldedRows::sizeOf(const OpenRun& run)
{
    m_row.clear();
    appendRow(m_row, uploadRow(run.closed()));
    return static_cast<std::int64_t>(m_row.size());
}

platform::StreamedBody uploadBody(std::string beginning, const FoldedRows& rows)
{
    const auto size = static_cast<qint64>(beginning.size() + kEndOfBody.size()) + rows.bytes();
    return {
        .size = size,
        .begin = [beginning = std::move(beginning), logs = rows.logs(), order = rows.order()]()
            -> platform::StreamedBody::Parts { return Parts(beginning, RunReader(logs, order)); },
    };
}

} // namespace syncing
