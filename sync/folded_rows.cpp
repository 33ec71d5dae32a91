// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/folded_rows.h"

#include "sync/upload_payload_json.h"
#include "sync/upload_rows.h"

#include <algorithm>
#include <memory>

namespace syncing {

namespace {

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

} // namespace

using activity::ActivityList;
using activity::ActivityLog;

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

} // namespace syncing
