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

/// How much of a file still holds when records are appended: everything but the closing bracket.
std::int64_t withoutBracket(const SavedFile& saved)
{
    return saved.identity.bytes - 1;
}

} // namespace

platform::Result<std::unique_ptr<SaveJob>>
SaveJob::begin(platform::AtomicFile& file, ActivityList list, const OnDisk& onDisk)
{
    // The file before the current one lacks but the last records, and nobody needs it any more.
    if (onDisk.previous && list.startsWith(onDisk.previous->list)) {
        if (auto out = file.recyclePrevious(withoutBracket(*onDisk.previous))) {
            std::unique_ptr<SaveJob> job(new SaveJob(std::move(out), std::move(list)));
            job->m_taken = onDisk.previous->list.size();
            return job;
        }
    }
    auto out = file.beginReplacement();
    if (!out)
        return out.error();
    std::unique_ptr<SaveJob> job(new SaveJob(std::move(out).value(), std::move(list)));
    const std::optional<SavedFile>& current = onDisk.current;
    if (!current || !job->m_list.startsWith(current->list)) {
        job->m_text = "[";
        return job;
    }
    job->m_source = current->identity;
    job->m_toCopy = withoutBracket(*current);
    if (job->m_out->shareFromCurrent(job->m_source, job->m_toCopy))
        job->m_copied = job->m_toCopy;
    job->m_taken = current->list.size();
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

platform::Result<SavedFile> SaveJob::commit(const std::optional<SavedFile>& current)
{
    m_text += ']';
    if (auto flushed = flushText(); !flushed)
        return flushed.error();
    auto identity = m_out->commit(current ? std::optional(current->identity) : std::nullopt);
    if (!identity)
        return identity.error();
    return SavedFile{.list = m_list, .identity = identity.value()};
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
