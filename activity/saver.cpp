// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/saver.h"

#include "activity/activity_file_reader.h"
#include "activity/activity_log_json.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <pthread.h>
#include <string>
#include <utility>

namespace activity {

namespace {

using namespace std::chrono_literals;
using platform::Error;
using platform::Outcome;

/// What is written between two looks at the clock: whole blocks, which some file systems can share.
constexpr std::int64_t kStep = 1L << 20;
// Large enough to make system calls rare, small enough to stay in the processor's cache.
constexpr std::size_t kTextLimit = 256UL * 1024;
/// From here on a third file would cost more room than it saves flushes.
constexpr std::int64_t kLarge = 50'000'000;
constexpr std::chrono::seconds kUntilNewsAreSafe(2);
constexpr std::chrono::seconds kUntilMoreOfTheSameIsSafe(10);
/// A flush is done with the save that comes at about its time, so as not to wake the thread twice.
constexpr std::chrono::milliseconds kEarly(300);
constexpr std::chrono::milliseconds kLate(50);
constexpr QLatin1StringView kSaveFailed("Save failed: ");

bool isMoreOfTheSame(const ActivityLog& log, const ActivityLog& before)
{
    return log.appName == before.appName && log.windowTitle == before.windowTitle &&
           log.url == before.url;
}

} // namespace

Saver::Saver(std::unique_ptr<platform::AtomicFile> file,
             platform::Diagnostics& diagnostics,
             ActivityList stored,
             Settings settings)
    : m_file(std::move(file))
    , m_diagnostics(diagnostics)
    , m_settings(std::move(settings))
    , m_budget(m_settings.bytesPerSecond)
    , m_list(std::move(stored))
{
    ::sem_init(&m_wake, 0, 0);
    m_thread = std::thread(&Saver::run, this);
}

Saver::~Saver()
{
    [[maybe_unused]] const bool hasEnded = finish(Clock::now() + 24h);
    m_thread.join();
    ::sem_destroy(&m_wake);
}

void Saver::submit(ActivityList list)
{
    if (m_inbox.put(std::move(list)))
        ::sem_post(&m_wake);
}

void Saver::flush(std::function<void()> done)
{
    if (m_flushRequests.put(std::move(done)))
        ::sem_post(&m_wake);
}

bool Saver::finish(Clock::time_point deadline)
{
    if (!m_isEnding.load(std::memory_order_relaxed)) {
        m_deadline.store(deadline, std::memory_order_relaxed);
        m_isEnding.store(true, std::memory_order_release);
        ::sem_post(&m_wake);
    }
    return m_hasEnded.wait_until(deadline) == std::future_status::ready;
}

void Saver::run()
{
    ::pthread_setname_np(::pthread_self(), "saving");
    m_settings.enterBackground();
    // What a process that was killed has written is perhaps in the system's memory only.
    if (const Outcome flushed = m_file->flush(); !flushed)
        qCWarning(lcStore) << "what was found cannot be flushed";
    for (bool isEnding = false; !isEnding;) {
        isEnding = m_isEnding.load(std::memory_order_acquire);
        for (collect(); m_isOwed; collect())
            save();
        flushIfDue();
        if (!m_isEnding.load(std::memory_order_acquire)) // looked at again: a save may have slept
            wait(m_flushDue ? *m_flushDue + kLate : Clock::time_point::max());
    }
    if (m_file->flush()) // else one of the others may be all that is on the disk
        m_file->discardOthers();
    m_end.set_value();
}

/// Sleeps until `until`, or until there is something to do.
void Saver::wait(Clock::time_point until)
{
    if (until == Clock::time_point::max()) {
        ::sem_wait(&m_wake);
        return;
    }
    const auto since = until.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
    const timespec time = {.tv_sec = seconds.count(),
                           .tv_nsec = std::chrono::nanoseconds(since - seconds).count()};
    ::sem_clockwait(&m_wake, CLOCK_MONOTONIC, &time);
}

/// Takes the newest list, into the save under way if that can still take it in.
void Saver::collect()
{
    std::optional<ActivityList> newest = m_inbox.take();
    if (!newest)
        return;
    noteWhatToFlush(*newest);
    m_isOwed = !m_isSaving || !newest->startsWith(m_list);
    m_list = std::move(*newest);
}

void Saver::noteWhatToFlush(const ActivityList& list)
{
    const Clock::time_point now = Clock::now();
    Clock::time_point due = now + kUntilMoreOfTheSameIsSafe;
    if (!list.startsWith(m_list)) {
        due = now; // what was delivered is not to come back
        m_isShortened = true;
        for (std::optional<ActivityList>& held : m_held)
            held.reset(); // nor to fill the memory
    } else {
        for (std::size_t i = m_list.size(); i < list.size(); ++i) {
            if (i == 0 || !isMoreOfTheSame(list[i], list[i - 1]))
                due = now + kUntilNewsAreSafe;
        }
    }
    m_flushDue = m_flushDue ? std::min(*m_flushDue, due) : due;
}

/// Brings m_list to the file, with what is added to it meanwhile. Leaves m_isOwed when that is not
/// what is wanted any more.
void Saver::save()
{
    m_isOwed = false;
    const auto draft = m_file->begin(m_currentLength > kLarge);
    if (!draft) {
        fail(draft.error());
        return;
    }
    m_isSaving = true;
    Outcome done = fill(draft.value());
    if (done && !m_isOwed)
        done = commit(draft.value().file);
    m_isSaving = false;
    m_file->abandon(); // what was not committed
    if (!done)
        fail(done.error());
}

/// Has the draft hold m_list: on top of what its file held before, of what the current file holds,
/// or of nothing.
Outcome Saver::fill(const platform::AtomicFile::Draft& draft)
{
    const auto held = std::exchange(m_held.at(draft.file), std::nullopt);
    if (held && draft.bytes > 0 && m_list.startsWith(*held)) {
        m_taken = held->size();
        m_length = draft.bytes - 1; // over the closing bracket
    } else if (auto copied = copyCurrent(); !copied || m_isOwed) {
        return copied;
    }
    return writeRecords();
}

/// Copies the current file as far as it holds the beginning of m_list.
Outcome Saver::copyCurrent()
{
    m_taken = 0;
    m_length = 0;
    const std::optional<ActivityList> current = m_current < 0 ? std::nullopt : m_held.at(m_current);
    if (!current || !m_list.startsWith(*current))
        return platform::success();
    const std::int64_t end = m_currentLength - 1;
    while (m_length < end) {
        const std::int64_t step = std::min(kStep, end - m_length);
        if (!m_file->copyFromCurrent(m_length, step))
            break;
        m_length += step;
        if (auto ready = mayGoOn(step); !ready || m_isOwed)
            return ready;
    }
    if (m_length == end && m_file->isCurrentUntouched())
        m_taken = current->size();
    else
        m_length = 0; // somebody else has changed it: all of it from memory, then
    qCDebug(lcStore) << (m_length > 0 ? "copied the file" : "writing the file anew");
    return platform::success();
}

/// Writes the records that the draft lacks, and the end of the array.
Outcome Saver::writeRecords()
{
    std::string text = m_length == 0 ? "[" : "";
    for (bool isComplete = false; !isComplete; text.clear()) {
        for (; m_taken < m_list.size() && text.size() < kTextLimit; ++m_taken) {
            if (m_taken > 0)
                text += ',';
            if (!appendActivityLog(text, m_list[m_taken]))
                return Error{QStringLiteral("a record holds a time that is not a finite number")};
        }
        isComplete = m_taken == m_list.size();
        if (isComplete)
            text += ']';
        if (auto written = m_file->write(m_length, text); !written)
            return written;
        m_length += static_cast<std::int64_t>(text.size());
        if (isComplete) [[maybe_unused]]
            const auto debt = m_budget.charge(std::ssize(text), Clock::now());
        else if (auto ready = mayGoOn(std::ssize(text)); !ready || m_isOwed)
            return ready;
    }
    return platform::success();
}

/// To be asked when `written` bytes have been written: waits until the budget allows more. Then
/// m_isOwed is set if it is another list that is wanted now.
Outcome Saver::mayGoOn(std::int64_t written)
{
    const Clock::time_point next = m_budget.charge(written, Clock::now());
    for (;;) {
        const bool isEnding = m_isEnding.load(std::memory_order_acquire);
        collect();
        const Clock::time_point now = Clock::now();
        if (isEnding && now >= m_deadline.load(std::memory_order_relaxed))
            return Error{QStringLiteral("not finished in the time left before the end")};
        if (m_isOwed || isEnding || now >= next)
            return platform::success();
        wait(next);
    }
}

Outcome Saver::commit(int file)
{
    if (m_settings.keepDamagedCopy) {
        if (auto kept = m_file->keepDamagedCopy(); !kept)
            return kept;
        m_settings.keepDamagedCopy = false;
    }
    if (auto committed = m_file->commit(m_length); !committed)
        return committed;
    m_held.at(file) = m_list;
    m_current = file;
    m_currentLength = m_length;
    return platform::success();
}

void Saver::flushIfDue()
{
    const auto request = m_flushRequests.take();
    const bool isDue = m_flushDue && Clock::now() + kEarly >= *m_flushDue;
    if (isDue || request || m_isEnding.load(std::memory_order_acquire)) {
        m_flushDue.reset();
        if (const auto flushed = m_file->flush(); !flushed) {
            m_held = {}; // what of them has reached the disk is not known
            fail(flushed.error());
        } else if (m_current >= 0) {
            // Not before there is something better on the disk.
            if (!std::exchange(m_isTidy, true))
                m_file->removeLeftovers();
            if (std::exchange(m_isShortened, false))
                m_file->discardOthers();
        }
    }
    if (request)
        (*request)();
}

/// Reports the failure; the next change of the list is what tries again.
void Saver::fail(const Error& error)
{
    m_diagnostics.line(kSaveFailed + m_file->path() + QLatin1StringView(": ") + error.text);
}

} // namespace activity
