// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"
#include "platform/environment.h"
#include "platform/http_client.h"
#include "platform/repeating_timer.h"
#include "sync/upload_body.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace account {
class AuthService;
}

namespace activity {
class DataStore;
}

namespace syncing {

/// The uploader: on a timer and on request it sends everything that the store holds to the Velomira
/// service, folded into runs, and removes from the store what was delivered.
///
/// Main thread only; nothing here holds it up, however much is stored: what looks at many samples
/// is done on a thread of its own, and the body is made in small pieces as it is sent. Each
/// property's signal is emitted when its value has changed.
class SyncService final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isSyncing READ isSyncing NOTIFY isSyncingChanged FINAL)

public:
    /// A time from none to below `longest`, any of them as likely as another.
    using RandomTime = std::function<std::chrono::milliseconds(std::chrono::milliseconds longest)>;

    /// Starts nothing. `serviceUrl` is the service's scheme, host and port; the others must outlive
    /// the service.
    SyncService(const platform::Environment& environment,
                QString serviceUrl,
                account::AuthService& auth,
                activity::DataStore& store,
                RandomTime randomTime = &anyTimeBelow);
    SyncService(const SyncService&) = delete;
    SyncService& operator=(const SyncService&) = delete;
    /// Waits for a preparation that still runs; an upload that is under way has no effect any more.
    ~SyncService() override;

    /// The process's service, made on first use from the installed environment and the other shared
    /// services; never destroyed.
    static SyncService& shared();

    /// Uploads from now on every so many minutes as the setting "syncInterval" says now, at least
    /// one and at most those of a week, first in that time. After an upload that failed the next
    /// attempt comes at any time of the period that then begins: devices that lost the service
    /// together do not come back together. Whoever calls it has stopped the timer before.
    void setupTimer();

    /// Stops the timer; timer() is none then.
    void stopTimer();

    /// One attempt to upload. It is over at once when nobody is signed in, another attempt is under
    /// way or nothing is stored.
    QCoro::Task<> sync();

    /// The running timer; none until setupTimer().
    [[nodiscard]] const platform::RepeatingTimer* timer() const { return m_timer.get(); }

    /// True from the start of an attempt until its outcome is recorded: when it has become false,
    /// the settings hold the outcome.
    [[nodiscard]] bool isSyncing() const { return m_isSyncing; }

    /// Why the last attempt failed; none after a success and during an attempt.
    [[nodiscard]] const std::optional<QString>& lastSyncError() const { return m_lastSyncError; }

    /// When the last attempt ended that delivered or found nothing to send, in seconds since
    /// 2001-01-01T00:00:00Z. Kept in the settings.
    [[nodiscard]] std::optional<double> lastSyncTime() const;
    void setLastSyncTime(std::optional<double> time);

Q_SIGNALS:
    void timerChanged();
    void isSyncingChanged();
    void lastSyncErrorChanged();

    /// An attempt has ended that needed more memory than most do: the first one, or one that
    /// delivered many samples. They are let go of within some seconds.
    void memoryUsed();

private:
    static std::chrono::milliseconds anyTimeBelow(std::chrono::milliseconds longest);

    void attemptOnTime(std::chrono::milliseconds period);
    QCoro::Task<> upload(activity::ActivityList snapshot);
    QCoro::Task<bool> inBackground(std::function<void()> work);
    [[nodiscard]] platform::HttpRequest requestTo(const QString& url);
    QCoro::Task<> record(platform::HttpOutcome outcome);
    QCoro::Task<> recordDelivery();
    void recordNothingToSend();
    void fail(const QString& text);
    void failWith(const QString& text, const QString& description);
    void discard(activity::ActivityIds delivered);

    [[nodiscard]] QString getDeviceID();
    void log(const QString& text);
    void setTimer(std::unique_ptr<platform::RepeatingTimer> timer);
    void setIsSyncing(bool value);
    void setLastSyncError(const std::optional<QString>& text);

    const platform::Environment& m_environment;
    QString m_serviceUrl;
    account::AuthService& m_auth;
    activity::DataStore& m_store;
    RandomTime m_randomTime;
    std::unique_ptr<platform::RepeatingTimer> m_timer;
    std::unique_ptr<platform::RepeatingTimer> m_retry; // fires once
    bool m_isSyncing = false;
    bool m_hasFailed = false;
    bool m_isFirst = true;
    std::optional<QString> m_lastSyncError;
    FoldedRows m_rows; // of what was to be uploaded last; the worker's while it works
    std::jthread m_worker;
    std::jthread m_discarder;
};

} // namespace syncing
