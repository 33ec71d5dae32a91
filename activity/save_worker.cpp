// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/save_worker.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace activity {

namespace {

constexpr std::int64_t kStep = 1'000'000; // between two looks at the deadline
constexpr QLatin1StringView kSaveFailed("Save failed: ");

WriteBudget::TimePoint now()
{
    return std::chrono::steady_clock::now();
}

} // namespace

SaveWorker::SaveWorker(std::unique_ptr<platform::AtomicFile> file,
                       platform::Diagnostics& diagnostics,
                       Settings settings)
    : m_file(std::move(file))
    , m_diagnostics(diagnostics)
    , m_budget(settings.bytesPerSecond)
    , m_keepDamagedCopy(settings.keepDamagedCopy)
    , m_resume(this)
{
    m_resume.setSingleShot(true);
    connect(&m_resume, &QTimer::timeout, this, &SaveWorker::proceed);
    connect(this, &SaveWorker::listArrived, this, &SaveWorker::wake, Qt::QueuedConnection);
}

void SaveWorker::cleanUp()
{
    m_file->removeLeftovers();
}

void SaveWorker::submit(const ActivityList& list)
{
    if (m_inbox.put(list))
        Q_EMIT listArrived(QPrivateSignal());
}

void SaveWorker::finish(QDeadlineTimer deadline)
{
    m_resume.stop();
    m_deadline = deadline;
    m_hurry = true;
    proceed();
    m_file->discardPrevious();
    Q_EMIT finished();
    m_finished.store(true, std::memory_order_release);
}

void SaveWorker::wake()
{
    if (!m_resume.isActive())
        proceed();
}

void SaveWorker::proceed()
{
    for (collect(); m_owed || m_job != nullptr; collect()) {
        if (m_deadline.hasExpired()) {
            fail({QStringLiteral("not finished in the time left before the end")});
            return;
        }
        std::int64_t allowed = kStep;
        if (!m_hurry) {
            allowed = std::min(allowed, m_budget.available(now()));
            if (allowed == 0) {
                m_resume.start(m_budget.untilFull(now()));
                return;
            }
        }
        const bool goesOn = m_job == nullptr ? begin() : step(allowed);
        if (!goesOn)
            return;
    }
}

/// Takes the newest list, into the job under way if that can still take it in.
void SaveWorker::collect()
{
    std::optional<ActivityList> newest = m_inbox.take();
    if (!newest)
        return;
    m_newest = std::move(*newest);
    m_owed = m_job == nullptr || !m_job->adopt(m_newest);
    if (m_owed)
        m_job.reset(); // what was removed from the list need not reach the disk first
}

bool SaveWorker::begin()
{
    m_owed = false;
    auto job = SaveJob::begin(*m_file, m_newest, m_onDisk);
    m_onDisk.previous.reset(); // used or given up
    if (!job) {
        fail(job.error());
        return false;
    }
    m_job = std::move(job).value();
    return true;
}

bool SaveWorker::step(std::int64_t bytes)
{
    return m_job->isComplete() ? commit() : advance(bytes);
}

bool SaveWorker::advance(std::int64_t bytes)
{
    const auto written = m_job->advance(bytes);
    if (written) {
        m_budget.charge(written.value(), now());
        return true;
    }
    if (m_job->sourceChanged()) {
        startAgainWithoutSource();
        return true;
    }
    fail(written.error());
    return false;
}

bool SaveWorker::commit()
{
    if (m_keepDamagedCopy) {
        if (const auto kept = m_file->keepDamagedCopy(); !kept) {
            fail(kept.error());
            return false;
        }
        m_keepDamagedCopy = false;
    }
    auto saved = m_job->commit(m_onDisk.current);
    if (saved) {
        m_onDisk.previous = std::exchange(m_onDisk.current, std::move(saved).value());
        m_job.reset();
        return true;
    }
    if (m_job->sourceChanged()) {
        startAgainWithoutSource();
        return true;
    }
    fail(saved.error());
    return false;
}

/// Reports the failure; the next change of the list is what tries again.
void SaveWorker::fail(const platform::Error& error)
{
    m_job.reset();
    m_owed = false;
    m_diagnostics.line(kSaveFailed + m_file->path() + QLatin1StringView(": ") + error.text);
}

void SaveWorker::startAgainWithoutSource()
{
    m_job.reset();
    m_onDisk.current.reset();
    m_owed = true;
}

} // namespace activity
