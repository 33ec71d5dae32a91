// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "activity/save_job.h"
#include "activity/write_budget.h"
#include "platform/atomic_file.h"
#include "platform/diagnostics.h"
#include "platform/mailbox.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <memory>
#include <optional>

namespace activity {

/// Writes the newest list it was given to the activity file, in the background. Lists that arrive
/// while it writes supersede one another. As a rule a save writes the new records only, into the
/// file before the current one. Where more is to be written, it is no more than the budget allows:
/// a large file is copied slowly, and what was added meanwhile goes in at the end.
/// Lives in the thread that it works in; only its constructor, destructor and submit() may be
/// called from another.
class SaveWorker final : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        /// What saving may write, on average.
        std::int64_t bytesPerSecond = 4'000'000;
        /// The file could not be read when the list was made: keep a copy before replacing it.
        bool keepDamagedCopy = false;
    };

    SaveWorker(std::unique_ptr<platform::AtomicFile> file,
               platform::Diagnostics& diagnostics,
               Settings settings);

    /// Removes what earlier processes left unfinished.
    void cleanUp();

    /// Has `list` saved, from the worker's event loop: soon, or when the writing under way allows.
    /// Any thread; never blocks.
    void submit(const ActivityList& list);

    /// Finishes what is owed at full speed before it returns, or gives up at `deadline`.
    void finish(QDeadlineTimer deadline);

    /// True once finish() is done: nothing of this object is used by its thread any more, and what
    /// it has written is visible to whoever asks. Any thread.
    [[nodiscard]] bool hasFinished() const { return m_finished.load(std::memory_order_acquire); }

Q_SIGNALS:
    /// finish() is done.
    void finished();
    /// To this object's own thread.
    void listArrived(QPrivateSignal);

private:
    void wake();
    void proceed();
    void collect();
    bool begin();
    bool step(std::int64_t bytes);
    bool advance(std::int64_t bytes);
    bool commit();
    void fail(const platform::Error& error);
    void startAgainWithoutSource();

    std::unique_ptr<platform::AtomicFile> m_file;
    platform::Diagnostics& m_diagnostics;
    WriteBudget m_budget;
    bool m_keepDamagedCopy;
    QTimer m_resume;
    platform::Mailbox<ActivityList> m_inbox;
    std::unique_ptr<SaveJob> m_job;
    ActivityList m_newest;
    bool m_owed = false; // m_newest is in neither the file nor the job
    SaveJob::OnDisk m_onDisk;
    QDeadlineTimer m_deadline{QDeadlineTimer::Forever};
    bool m_hurry = false;
    std::atomic<bool> m_finished = false;
};

} // namespace activity
