// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/data_store.h"

#include "activity/activity_file_reader.h"
#include "activity/save_worker.h"
#include "platform/atomic_file.h"
#include "platform/diagnostics.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

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
{
    dependencies.files.makePrivateFolder(QFileInfo(m_filePath).path());
    const bool readable = load();

    m_worker = std::make_unique<SaveWorker>(
        dependencies.files.at(m_filePath),
        dependencies.diagnostics,
        SaveWorker::Settings{.bytesPerSecond = dependencies.bytesPerSecond,
                             .keepDamagedCopy = !readable});
    m_worker->moveToThread(&m_thread);
    connect(&m_thread,
            &QThread::started,
            m_worker.get(),
            [worker = m_worker.get(), enterBackground = dependencies.enterBackground] {
                enterBackground();
                worker->cleanUp();
            });
    connect(this, &DataStore::finishRequested, m_worker.get(), &SaveWorker::finish);
    // Directly, on the saving thread: its loop ends even while the main thread waits for that.
    connect(m_worker.get(), &SaveWorker::finished, &m_thread, &QThread::quit, Qt::DirectConnection);
    m_thread.setObjectName(QStringLiteral("saving"));
    m_thread.start();
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
    });
    return *instance;
}

QString DataStore::filePathIn(const QString& applicationSupport)
{
    return applicationSupport + kFile;
}

void DataStore::addLog(ActivityLog log)
{
    log.appName = m_pool.intern(log.appName);
    if (log.windowTitle)
        log.windowTitle = m_pool.intern(*log.windowTitle);
    if (log.url)
        log.url = m_pool.intern(*log.url);
    m_pool.sweepSome();
    Q_EMIT activitiesAboutToChange();
    m_activities.append(std::move(log));
    Q_EMIT activitiesChanged();
    m_worker->submit(m_activities);
}

void DataStore::removeLogs(const ActivityIds& withIDs)
{
    ActivityList kept = m_activities.without(withIDs);
    Q_EMIT activitiesAboutToChange();
    m_activities = std::move(kept);
    Q_EMIT activitiesChanged();
    m_worker->submit(m_activities);
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
    const QDeadlineTimer deadline(limit);
    if (m_thread.isRunning())
        Q_EMIT finishRequested(deadline, QPrivateSignal());
    return m_thread.wait(deadline) && m_worker->hasFinished();
}

bool DataStore::load()
{
    QFile file(m_filePath);
    // A link to where nothing is may lead to a disk that is missing now. Should it come back with a
    // list of its own, that one is kept, not replaced.
    if (!QFileInfo::exists(m_filePath))
        return !QFileInfo(m_filePath).isSymLink();
    // Anything but a regular file is not opened: a pipe would hold the start up.
    if (!QFileInfo(m_filePath).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    std::optional<ActivityList> list = readActivityFile(file, m_pool);
    if (!list)
        return false;
    Q_EMIT activitiesAboutToChange();
    m_activities = std::move(*list);
    Q_EMIT activitiesChanged();
    return true;
}

} // namespace activity
