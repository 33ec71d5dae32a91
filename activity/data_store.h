// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_file_reader.h"
#include "activity/activity_list.h"
#include "activity/shared_text.h"
#include "platform/environment.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>

namespace activity {

class Saver;

/// The owner of all activity records that have not been uploaded yet. It reads the activity file
/// once, when it is made, and after every change rewrites it in the background.
///
/// Main thread only. addLog() and activities() take the same time however long the list is.
class DataStore final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(activity::ActivityList activities READ activities NOTIFY activitiesChanged FINAL)

public:
    struct Dependencies
    {
        /// The user's folder for application data; without one the program cannot go on.
        std::optional<QString> applicationSupport;
        platform::AtomicFiles& files;
        platform::Diagnostics& diagnostics;
        /// The most that saving may write, on average.
        std::int64_t bytesPerSecond = 4'000'000;
        /// Called once on the thread that saves.
        std::function<void()> enterBackground = [] {
        };
        /// Reads the file on another thread. What is added before that is done goes behind what the
        /// file holds, and nothing is saved until then.
        bool readsInBackground = false;
    };

    /// Reads the file, which may take a second for a million records. A file that is missing gives
    /// the empty list; so does one that is unreadable or damaged, silently, and the first save
    /// keeps a copy of it before replacing it. After a power cut it is the best of the files that
    /// are there (readStoredActivities()).
    explicit DataStore(const Dependencies& dependencies);

    DataStore(const DataStore&) = delete;
    DataStore& operator=(const DataStore&) = delete;

    /// Finishes the save that is owed, however long that takes.
    ~DataStore() override;

    /// The process's store, made on first use from the installed environment; never destroyed.
    static DataStore& shared();

    /// Adds `log` at the end of the list and saves. Never waits for the disk.
    void addLog(ActivityLog log);

    /// Removes every record that `withIDs` names, keeps the others in their order, and saves, even
    /// when nothing was removed. Never waits for the disk.
    void removeLogs(const ActivityIds& withIDs);

    /// Has what was added so far on the disk, where a power cut cannot reach it, and then calls
    /// `done` on the main thread; of requests that overlap the newest one's. Never waits for the
    /// disk.
    void flush(std::function<void()> done);

    /// Lets go of the texts that no record holds any more, in slices of a millisecond, and then
    /// tells unusedTextsDropped(): for when many records have gone. Otherwise it happens little by
    /// little, with each record that comes.
    void dropUnusedTexts();

    /// Finishes the save that is owed, at full speed, and ends saving for good: for the end of the
    /// process. Waits at most about `limit`; false when the disk needed longer.
    bool finishSaving(std::chrono::milliseconds limit);

    /// All records held, oldest first. A copy costs nothing and stays as it is.
    [[nodiscard]] const ActivityList& activities() const { return m_activities; }

    /// How many texts are kept, those included that no record holds any more.
    [[nodiscard]] std::size_t distinctTexts() const { return m_pool.size(); }

    /// Where the list is kept, given the user's folder for application data.
    [[nodiscard]] static QString filePathIn(const QString& applicationSupport);

Q_SIGNALS:
    void activitiesAboutToChange();
    void activitiesChanged();
    void unusedTextsDropped();

private:
    void adopt(StoredActivities stored);
    [[nodiscard]] ActivityLog interned(ActivityLog log);
    void save();
    void tellFlushed();
    void sweepSlice();

    QString m_filePath;
    std::unique_ptr<platform::AtomicFile> m_file; // until m_saver has it
    Dependencies m_to;
    std::function<void()> m_afterFlush; // of the newest request, an earlier one is forgotten
    TextPool m_pool;
    std::size_t m_partsToSweep = 0;
    ActivityList m_activities;
    std::unique_ptr<Saver> m_saver; // none before the file has been read
    std::future<StoredActivities> m_reading;
};

} // namespace activity
