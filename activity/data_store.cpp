// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/data_store.h"

#include "activity/activity_file_reader.h"
#include "activity/saver.h"
#include "platform/atomic_file.h"
#include "platform/diagnostics.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QMetaObject>
#include <QTimer>

#include <chrono>
#include <utility>

namespace activity {

namespace {

constexpr std::chrono::microseconds kSlice(500);
constexpr std::chrono::milliseconds kBetweenSlices(10);
constexpr QLatin1StringView kFile("/Velomira Usage Monitor/activity_logs.json");

QString requiredPath(const std::optional<QString>& applicationSupport)
{
    if (!applicationSupport)
        qFatal("There is no folder for application data: neither XDG_DATA_HOME nor HOME is set");
    return DataStore::filePathIn(*applicationSupport);
}

} // namespace

DataStore::DataStore(const Dependencies& dependencies)
    : m_filePath(requiredPath(dependencies.applicationSupport))
    , m_file(dependencies.files.at(m_filePath))
    , m_to(dependencies)
{
    dependencies.files.makePrivateFolder(QFileInfo(m_filePath).path());
    if (!dependencies.readsInBackground) {
        adopt(readStoredActivities(m_filePath, *m_file));
        return;
    }
    m_reading = std::async(std::launch::async, [this] {
        StoredActivities stored = readStoredActivities(m_filePath, *m_file);
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_reading.valid())
                    adopt(m_reading.get());
            },
            Qt::QueuedConnection);
        return stored;
    });
}

DataStore::~DataStore()
{
    finishSaving(std::chrono::hours(24));
}

DataStore& DataStore::shared()
{
    static auto* const instance = new DataStore({
        .applicationSupport = platform::environment().applicationSupport,
        .files = platform::environment().atomicFiles,
        .diagnostics = platform::environment().diagnostics,
        .enterBackground = platform::environment().enterBackground,
        .readsInBackground = true,
    });
    return *instance;
}

QString DataStore::filePathIn(const QString& applicationSupport)
{
    return applicationSupport + kFile;
}

void DataStore::addLog(ActivityLog log)
{
    log = interned(std::move(log));
    m_pool.sweepSome();
    Q_EMIT activitiesAboutToChange();
    m_activities.append(std::move(log));
    Q_EMIT activitiesChanged();
    save();
}

void DataStore::removeLogs(const ActivityIds& withIDs)
{
    ActivityList kept = m_activities.without(withIDs);
    Q_EMIT activitiesAboutToChange();
    m_activities = std::move(kept);
    Q_EMIT activitiesChanged();
    save();
}

void DataStore::flush(std::function<void()> done)
{
    if (!m_saver) {
        done();
        return;
    }
    m_afterFlush = std::move(done);
    m_saver->flush(
        [this] { QMetaObject::invokeMethod(this, &DataStore::tellFlushed, Qt::QueuedConnection); });
}

void DataStore::tellFlushed()
{
    if (const auto after = std::exchange(m_afterFlush, nullptr))
        after();
}

void DataStore::dropUnusedTexts()
{
    const bool isUnderWay = std::exchange(m_partsToSweep, TextPool::kParts) > 0;
    if (!isUnderWay)
        sweepSlice();
}

void DataStore::sweepSlice()
{
    const QDeadlineTimer end(kSlice, Qt::PreciseTimer);
    do {
        m_pool.sweepPart();
        --m_partsToSweep;
    } while (m_partsToSweep > 0 && !end.hasExpired());
    if (m_partsToSweep > 0)
        QTimer::singleShot(kBetweenSlices, this, &DataStore::sweepSlice);
    else
        Q_EMIT unusedTextsDropped();
}

bool DataStore::finishSaving(std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    if (m_reading.valid()) {
        if (m_reading.wait_until(deadline) != std::future_status::ready) {
            m_to.diagnostics.line(
                QStringLiteral("Save failed: %1: not read in the time left before the end")
                    .arg(m_filePath));
            return false;
        }
        adopt(m_reading.get());
    }
    return m_saver->finish(deadline);
}

/// Goes on from what was read: what has been added meanwhile comes behind it.
void DataStore::adopt(StoredActivities stored)
{
    ActivityList all = stored.list;
    const ActivityList added = m_activities;
    Q_EMIT activitiesAboutToChange();
    m_pool = std::move(stored.pool);
    for (const ActivityLog& log : added)
        all.append(interned(log));
    m_activities = std::move(all);
    Q_EMIT activitiesChanged();
    qCInfo(lcStore) << "read" << stored.list.size() << "records," << added.size()
                    << "came meanwhile";

    m_saver = std::make_unique<Saver>(std::move(m_file),
                                      m_to.diagnostics,
                                      std::move(stored.list),
                                      Saver::Settings{
                                          .bytesPerSecond = m_to.bytesPerSecond,
                                          .keepDamagedCopy = stored.isUnreadable,
                                          .enterBackground = m_to.enterBackground,
                                      });
    if (stored.isRepaired || !added.empty())
        save();
    if (stored.isRepaired)
        flush([] {});
}

ActivityLog DataStore::interned(ActivityLog log)
{
    log.appName = m_pool.intern(log.appName);
    if (log.windowTitle)
        log.windowTitle = m_pool.intern(*log.windowTitle);
    if (log.url)
        log.url = m_pool.intern(*log.url);
    return log;
}

void DataStore::save()
{
    if (m_saver)
        m_saver->submit(m_activities);
}

} // namespace activity
