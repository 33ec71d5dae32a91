// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/upload_body.h"

#include "sync/upload_rows.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace syncing {

namespace {

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
