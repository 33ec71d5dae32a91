// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/save_job.h"

#include "activity/activity_log_json.h"

#include <algorithm>
#include <utility>

namespace activity {

namespace {

// Large enough to make system calls rare, small enough to stay in the processor's cache.
constexpr std::size_t kTextLimit = 256UL * 1024;

} // namespace

platform::Result<std::unique_ptr<SaveJob>>
SaveJob::begin(platform::AtomicFile& file, ActivityList list, const std::optional<SavedFile>& saved)
{
    auto out = file.beginReplacement();
    if (!out)
        return out.error();
    std::unique_ptr<SaveJob> job(new SaveJob(std::move(out).value(), std::move(list)));
    if (!saved || !job->m_list.startsWith(saved->list)) {
        job->m_text = "[";
        return job;
    }
    // Everything but the closing bracket.
    const std::int64_t reused = saved->identity.bytes - 1;
    job->m_source = saved->identity;
    job->m_toCopy = reused;
    if (job->m_out->shareFromCurrent(saved->identity, reused))
        job->m_copied = reused;
    job->m_taken = saved->list.size();
    return job;
}

SaveJob::SaveJob(std::unique_ptr<platform::FileReplacement> out, ActivityList list)
    : m_out(std::move(out))
    , m_list(std::move(list))
{
}

bool SaveJob::adopt(const ActivityList& list)
{
    if (!list.startsWith(m_list))
        return false;
    m_list = list;
    return true;
}

bool SaveJob::isComplete() const
{
    return m_copied == m_toCopy && m_taken == m_list.size();
}

platform::Result<std::int64_t> SaveJob::advance(std::int64_t bytes)
{
    if (m_copied < m_toCopy) {
        const std::int64_t step = std::min(bytes, m_toCopy - m_copied);
        if (auto copied = m_out->copyFromCurrent(m_source, m_copied, step); !copied)
            return copied.error();
        m_copied += step;
        return step;
    }
    const std::size_t limit = std::min(kTextLimit, static_cast<std::size_t>(bytes));
    while (m_taken < m_list.size() && m_text.size() < limit) {
        if (m_taken > 0)
            m_text += ',';
        if (!appendActivityLog(m_text, m_list[m_taken]))
            return platform::Error{
                QStringLiteral("a record holds a time that is not a finite number")};
        ++m_taken;
    }
    return flushText();
}

platform::Result<SavedFile> SaveJob::commit()
{
    m_text += ']';
    if (auto flushed = flushText(); !flushed)
        return flushed.error();
    auto identity = m_out->commit();
    if (!identity)
        return identity.error();
    return SavedFile{m_list, identity.value()};
}

bool SaveJob::sourceChanged() const
{
    return m_out->sourceChanged();
}

platform::Result<std::int64_t> SaveJob::flushText()
{
    if (auto appended = m_out->append(m_text); !appended)
        return appended.error();
    const auto written = static_cast<std::int64_t>(m_text.size());
    m_text.clear();
    return written;
}

} // namespace activity
