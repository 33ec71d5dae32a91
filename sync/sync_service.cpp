// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/sync_service.h"

#include "account/auth_service.h"
#include "account/device_identity.h"
#include "account/service_endpoint.h"
#include "activity/data_store.h"
#include "platform/build_config.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/iso8601.h"
#include "platform/user_defaults.h"
#include "platform/wipe.h"
#include "sync/error_body.h"
#include "sync/sync_counters.h"
#include "sync/upload_batch.h"

#include <QCoroFuture>
#include <QPointer>
#include <QPromise>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

namespace syncing {

namespace {

constexpr qint64 kLongestErrorBody = 65'536;
constexpr std::chrono::seconds kTimeToLetGo(1);
constexpr std::chrono::hours kLongestPeriod(7 * 24);
constexpr int kOk = 200;
constexpr int kCreated = 201;
const QString kPath = QStringLiteral("/api/activity-log");

/// A thread that does `work`; one that does not run when the system has none left.
std::jthread threadFor(std::function<void()> work)
{
    try {
        return std::jthread(std::move(work));
    } catch (const std::system_error&) {
        return {};
    }
}

} // namespace

SyncService::SyncService(const platform::Environment& environment,
                         QString serviceUrl,
                         account::AuthService& auth,
                         activity::DataStore& store)
    : m_environment(environment)
    , m_serviceUrl(std::move(serviceUrl))
    , m_auth(auth)
    , m_store(store)
{
}

SyncService::~SyncService() = default;

SyncService& SyncService::shared()
{
    static auto* const service = new SyncService(
        platform::environment(),
        QString::fromUtf8(platform::kServiceUrl.data(), platform::kServiceUrl.size()),
        account::AuthService::shared(),
        activity::DataStore::shared());
    return *service;
}

void SyncService::setupTimer()
{
    const std::chrono::minutes chosen(intervalMinutes(m_environment.userDefaults));
    // The file may hold any number, a timer cannot.
    const std::chrono::minutes period = std::min<std::chrono::minutes>(chosen, kLongestPeriod);
    // Destroyed with the service, so the callback never outlives it.
    setTimer(m_environment.repeatingTimers.schedule(period, [this] { sync(); }));
}

void SyncService::stopTimer()
{
    setTimer(nullptr);
}

QCoro::Task<> SyncService::sync()
{
    if (!m_auth.isAuthenticated()) {
        setLastSyncError(QStringLiteral("Not authenticated"));
        co_return;
    }
    if (m_isSyncing)
        co_return;
    setIsSyncing(true);
    setLastSyncError(std::nullopt);
    auto batch = std::make_shared<UploadBatch>();
    batch->snapshot = m_store.activities();
    if (batch->snapshot.empty()) {
        recordNothingToSend();
        co_return;
    }
    const QPointer<SyncService> self(this);
    co_await upload(batch);
    if (!self.isNull())
        discard(std::move(batch));
}

/// From the snapshot to the recorded outcome; with no effect any more when the service has gone.
QCoro::Task<> SyncService::upload(std::shared_ptr<UploadBatch> batch)
{
    batch->payload.device_id = getDeviceID().toStdString();
    batch->payload.sync_timestamp =
        platform::iso8601(m_environment.clock.now()).value_or(std::string());
    batch->payload.interval_minutes = intervalMinutes(m_environment.userDefaults);

    const QString address = m_serviceUrl + kPath;
    log(QStringLiteral("Velomira Sync: Attempting to sync to ") + address);
    const std::optional<QString> url = account::serviceEndpoint(m_serviceUrl, kPath);
    if (!url) {
        fail(QStringLiteral("Invalid API URL: ") + address);
        co_return;
    }
    // Named, because GCC 12 destroys temporaries in a condition with co_await twice.
    const std::function<void()> encode = [batch] {
        batch->encode();
    };
    if (!co_await inBackground(encode))
        co_return;
    platform::HttpRequest request = requestTo(*url);
    if (const std::optional<QString> error = batch->encodingError) {
        failWith(*error, QStringLiteral("EncodingFailure: ") + *error);
        co_return;
    }
    log(QStringLiteral("Velomira Sync: Payload size: %1 bytes, activities: %2")
            .arg(batch->body.size())
            .arg(batch->rowCount));
    request.body = batch->body;

    const QPointer<SyncService> self(this);
    const platform::HttpOutcome outcome = co_await m_environment.httpClient.send(request);
    for (platform::HttpHeader& header : request.headers)
        platform::wipe(header.value);
    if (!self.isNull())
        record(outcome, *batch);
}

/// Runs `work` on a thread of its own; false when the service has gone meanwhile.
QCoro::Task<bool> SyncService::inBackground(std::function<void()> work)
{
    const QPointer<SyncService> self(this);
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    const QFuture<void> done = promise->future();
    m_worker = threadFor([enterBackground = m_environment.enterBackground, work, promise] {
        enterBackground();
        work();
        promise->finish();
    });
    if (!m_worker.joinable()) {
        work(); // holds up the main thread, but nothing gets stuck
        co_return true;
    }
    co_await done;
    if (self.isNull())
        co_return false;
    m_worker.join(); // only its end is left; from here on what it has written is this thread's
    co_return true;
}

platform::HttpRequest SyncService::requestTo(const QString& url)
{
    platform::HttpRequest request{
        .method = platform::HttpMethod::Post,
        .url = url,
        .headers = {{.name = "Content-Type", .value = "application/json"},
                    {.name = "Accept", .value = "application/json"}},
        .body = {},
        .answerLimit = kLongestErrorBody,
        .longAnswer = platform::LongAnswer::IsCut,
    };
    if (const std::optional<QString>& token = m_auth.token()) {
        QByteArray utf8 = token->toUtf8();
        request.headers.append({.name = "Authorization", .value = "Bearer " + utf8});
        platform::wipe(utf8);
        log(QStringLiteral("Velomira Sync: Using auth token"));
    } else {
        log(QStringLiteral("Velomira Sync: WARNING - No auth token available"));
    }
    return request;
}

void SyncService::record(const platform::HttpOutcome& outcome, const UploadBatch& batch)
{
    if (const auto* const failure = std::get_if<platform::TransferFailure>(&outcome))
        failWith(failure->text, failure->description);
    else if (const auto* const response = std::get_if<platform::HttpResponse>(&outcome))
        recordAnswer(*response, batch);
    else
        fail(QStringLiteral("Invalid response type"));
}

void SyncService::recordAnswer(const platform::HttpResponse& response, const UploadBatch& batch)
{
    log(QStringLiteral("Velomira Sync: Response status code: %1").arg(response.status));
    if (response.status == kOk || response.status == kCreated) {
        recordDelivery(batch);
        return;
    }
    if (const std::optional<QString> text = errorBodyText(response.body, kLongestErrorBody))
        log(QStringLiteral("Velomira Sync: Error response body: ") + *text);
    const QString message = QStringLiteral("Server returned status %1").arg(response.status);
    fail(message);
    log(QStringLiteral("Velomira Sync Failed: ") + message);
}

void SyncService::recordDelivery(const UploadBatch& batch)
{
    m_store.removeLogs(batch.ids);
    setLastSyncTime(m_environment.clock.now());
    countDelivery(m_environment.userDefaults, batch.rowCount);
    setLastSyncError(std::nullopt);
    setIsSyncing(false);
    log(QStringLiteral("Velomira Sync Success: Synced %1 activity records.").arg(batch.rowCount));
}

void SyncService::recordNothingToSend()
{
    // Whoever hears that the attempt is over reads when that was, which has no signal of its own.
    setLastSyncTime(m_environment.clock.now());
    countNothing(m_environment.userDefaults);
    setIsSyncing(false);
}

void SyncService::fail(const QString& text)
{
    setLastSyncError(text);
    setIsSyncing(false);
}

void SyncService::failWith(const QString& text, const QString& description)
{
    fail(text);
    log(QStringLiteral("Velomira Sync Failed with error: ") + description);
}

/// Lets go of `batch` on another thread: with many samples that takes a while. Not before the HTTP
/// client has let go of the body, or the last to hold it would be this thread.
void SyncService::discard(std::shared_ptr<UploadBatch> batch)
{
    QTimer::singleShot(kTimeToLetGo, this, [this, batch = std::move(batch)]() mutable {
        m_discarder = threadFor([last = std::move(batch)]() mutable { last.reset(); });
    });
}

std::optional<double> SyncService::lastSyncTime() const
{
    return syncing::lastSyncTime(m_environment.userDefaults);
}

void SyncService::setLastSyncTime(std::optional<double> time)
{
    syncing::setLastSyncTime(m_environment.userDefaults, time);
}

QString SyncService::getDeviceID()
{
    return account::deviceIdentity(m_environment.userDefaults, QStringLiteral("device_uuid"));
}

void SyncService::log(const QString& text)
{
    m_environment.diagnostics.line(text);
}

void SyncService::setTimer(std::unique_ptr<platform::RepeatingTimer> timer)
{
    m_timer = std::move(timer);
    Q_EMIT timerChanged();
}

void SyncService::setIsSyncing(bool value)
{
    if (std::exchange(m_isSyncing, value) != value)
        Q_EMIT isSyncingChanged();
}

void SyncService::setLastSyncError(const std::optional<QString>& text)
{
    if (m_lastSyncError == text)
        return;
    m_lastSyncError = text;
    Q_EMIT lastSyncErrorChanged();
}

} // namespace syncing
