// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/sync_service.h"

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"
#include "base/iso8601.h"
#include "base/wipe.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/user_defaults.h"
#include "sync/upload_body.h"

#include <QCoroFuture>
#include <QLoggingCategory>
#include <QPointer>
#include <QPromise>
#include <QRandomGenerator>
#include <QTimer>
#include <QUtf8StringView>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

namespace syncing {

namespace {

// For developers; off by default. What an attempt comes to is a line of the diagnostics.
Q_LOGGING_CATEGORY(lcSync, "velomira.sync", QtCriticalMsg)

// What the settings window shows.
const QString kNotAuthenticated = QStringLiteral("Not authenticated");
const QString kInvalidUrl = QStringLiteral("Invalid API URL: ");
const QString kInvalidResponse = QStringLiteral("Invalid response type");
const QString kRefused = QStringLiteral("Server returned status %1");

// What the diagnostics tell.
const QString kAttempting = QStringLiteral("Velomira Sync: Attempting to sync to ");
const QString kPayload = QStringLiteral("Velomira Sync: Payload size: %1 bytes, activities: %2");
const QString kWithToken = QStringLiteral("Velomira Sync: Using auth token");
const QString kWithoutToken = QStringLiteral("Velomira Sync: WARNING - No auth token available");
const QString kStatus = QStringLiteral("Velomira Sync: Response status code: %1");
const QString kErrorBody = QStringLiteral("Velomira Sync: Error response body: ");
const QString kFailed = QStringLiteral("Velomira Sync Failed: ");
const QString kFailedWithError = QStringLiteral("Velomira Sync Failed with error: ");
const QString kNotEncodable = QStringLiteral("EncodingFailure: ");
const QString kSynced = QStringLiteral("Velomira Sync Success: Synced %1 activity records.");

// What the settings hold about uploads (docs/formats.md, "Settings file").
const QString kSyncInterval = QStringLiteral("syncInterval");
const QString kLastSyncTime = QStringLiteral("lastSyncTime");
const QString kLastSyncRecordCount = QStringLiteral("lastSyncRecordCount");
const QString kTotalRecordsSynced = QStringLiteral("totalRecordsSynced");

constexpr qint64 kLongestErrorBody = 65'536;
constexpr std::chrono::seconds kTimeToLetGo(1);
constexpr std::chrono::hours kLongestPeriod(7 * 24);
constexpr std::chrono::milliseconds kShortestWait(1);
/// So many samples are named and let go of within a millisecond.
constexpr std::size_t kAtOnce = 4'000;
constexpr int kOk = 200;
constexpr int kCreated = 201;
const QString kPath = QStringLiteral("/api/activity-log");

/// The upload period in minutes, at least 1.
qint64 intervalMinutes(const platform::UserDefaults& defaults)
{
    return std::max<qint64>(1, defaults.integer(kSyncInterval).value_or(0));
}

/// Notes that `rows` have been delivered. Ends the process when their total does not fit into 64
/// bits.
void countDelivery(platform::UserDefaults& defaults, qint64 rows)
{
    const qint64 total = defaults.integer(kTotalRecordsSynced).value_or(0);
    if (total > std::numeric_limits<qint64>::max() - rows)
        qFatal("The total of uploaded records is too large");
    defaults.setInteger(kLastSyncRecordCount, rows);
    defaults.setInteger(kTotalRecordsSynced, total + rows);
}

/// A thread that does `work`; one that does not run when the system has none left.
std::jthread threadFor(std::function<void()> work)
{
    try {
        return std::jthread(std::move(work));
    } catch (const std::system_error&) {
        qCWarning(lcSync) << "the system has no thread left";
        return {};
    }
}

/// The text of an error answer; none when it is not valid UTF-8. One as long as is read may have
/// been cut in the middle of a character, which is then left out.
std::optional<QString> errorText(const QByteArray& body)
{
    std::string_view text(body.constData(), static_cast<std::size_t>(body.size()));
    if (body.size() >= kLongestErrorBody)
        text = platform::withoutPartialCharacter(text);
    const QUtf8StringView utf8(text);
    return utf8.isValidUtf8() ? std::optional(utf8.toString()) : std::nullopt;
}

} // namespace

SyncService::SyncService(const platform::Environment& environment,
                         QString serviceUrl,
                         account::AuthService& auth,
                         activity::DataStore& store,
                         RandomTime randomTime)
    : m_environment(environment)
    , m_serviceUrl(std::move(serviceUrl))
    , m_auth(auth)
    , m_store(store)
    , m_randomTime(std::move(randomTime))
{
}

SyncService::~SyncService() = default;

SyncService& SyncService::shared()
{
    static auto* const service = new SyncService(platform::environment(),
                                                 platform::fromExactUtf8(platform::kServiceUrl),
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
    setTimer(
        m_environment.repeatingTimers.schedule(period, [this, period] { attemptOnTime(period); }));
}

void SyncService::stopTimer()
{
    setTimer(nullptr);
}

std::chrono::milliseconds SyncService::anyTimeBelow(std::chrono::milliseconds longest)
{
    return std::chrono::milliseconds(QRandomGenerator::global()->bounded(qint64{longest.count()}));
}

void SyncService::attemptOnTime(std::chrono::milliseconds period)
{
    if (!m_hasFailed) {
        sync();
        return;
    }
    const std::chrono::milliseconds wait = std::max(kShortestWait, m_randomTime(period));
    qCDebug(lcSync) << "trying again in" << wait.count() << "ms";
    m_retry = m_environment.repeatingTimers.schedule(wait, [this] {
        const std::unique_ptr<platform::RepeatingTimer> once = std::move(m_retry);
        sync();
    });
}

QCoro::Task<> SyncService::sync()
{
    if (!m_auth.isAuthenticated()) {
        setLastSyncError(kNotAuthenticated);
        co_return;
    }
    if (m_isSyncing)
        co_return;
    m_retry.reset();
    setIsSyncing(true);
    setLastSyncError(std::nullopt);
    activity::ActivityList snapshot = m_store.activities();
    if (snapshot.empty()) {
        recordNothingToSend();
        co_return;
    }
    const bool isFirst = std::exchange(m_isFirst, false);
    const bool isLong = snapshot.size() > kAtOnce;
    const QPointer<SyncService> self(this);
    co_await upload(std::move(snapshot));
    if (!self.isNull() && (isFirst || (isLong && !m_hasFailed)))
        Q_EMIT memoryUsed();
}

/// From the snapshot to the recorded outcome; with no effect any more when the service has gone.
QCoro::Task<> SyncService::upload(activity::ActivityList snapshot)
{
    const ActivityPayload payload{
        .device_id = getDeviceID().toStdString(),
        .sync_timestamp = platform::iso8601(m_environment.clock.now()).value_or(std::string()),
        .interval_minutes = intervalMinutes(m_environment.userDefaults),
    };
    const QString address = m_serviceUrl + kPath;
    log(kAttempting + address);
    const std::optional<QString> url = account::serviceEndpoint(m_serviceUrl, kPath);
    if (!url) {
        fail(kInvalidUrl + address);
        co_return;
    }
    // Named, because GCC 12 destroys temporaries in a condition with co_await twice.
    const std::function<void()> fold = [this, snapshot] {
        m_rows.extend(snapshot);
    };
    if (!m_rows.takesLong(snapshot))
        fold();
    else if (!co_await inBackground(fold))
        co_return;
    qCDebug(lcSync) << "folded" << snapshot.size() << "records into" << m_rows.rowCount() << "rows";
    platform::HttpRequest request = requestTo(*url);
    const platform::Result<std::string> beginning = beginningOf(payload);
    if (!beginning) {
        const QString error = beginning.error().text;
        failWith(error, kNotEncodable + error);
        co_return;
    }
    request.streamedBody = uploadBody(beginning.value(), m_rows);
    log(kPayload.arg(request.streamedBody->size).arg(m_rows.rowCount()));

    const QPointer<SyncService> self(this);
    const platform::HttpOutcome outcome = co_await m_environment.httpClient.send(request);
    for (platform::HttpHeader& header : request.headers)
        platform::wipe(header.value);
    request.streamedBody.reset();
    if (!self.isNull())
        co_await record(outcome);
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
        log(kWithToken);
    } else {
        log(kWithoutToken);
    }
    return request;
}

QCoro::Task<> SyncService::record(platform::HttpOutcome outcome)
{
    if (const auto* const failure = std::get_if<platform::TransferFailure>(&outcome)) {
        failWith(failure->text, failure->description);
        co_return;
    }
    const auto* const response = std::get_if<platform::HttpResponse>(&outcome);
    if (response == nullptr) {
        fail(kInvalidResponse);
        co_return;
    }
    log(kStatus.arg(response->status));
    if (response->status == kOk || response->status == kCreated) {
        co_await recordDelivery();
        co_return;
    }
    if (const std::optional<QString> text = errorText(response->body))
        log(kErrorBody + *text);
    else
        qCInfo(lcSync) << "the body of the refusal is no text";
    const QString message = kRefused.arg(response->status);
    fail(message);
    log(kFailed + message);
}

QCoro::Task<> SyncService::recordDelivery()
{
    activity::ActivityIds ids;
    const std::function<void()> name = [this, &ids] {
        ids = activity::ActivityIds(m_rows.logs());
    };
    if (m_rows.logs().size() <= kAtOnce)
        name();
    else if (!co_await inBackground(name))
        co_return;
    const qint64 rows = m_rows.rowCount();
    m_store.removeLogs(ids);
    discard(std::move(ids));
    setLastSyncTime(m_environment.clock.now());
    countDelivery(m_environment.userDefaults, rows);
    m_hasFailed = false;
    setLastSyncError(std::nullopt);
    setIsSyncing(false);
    log(kSynced.arg(rows));
}

void SyncService::recordNothingToSend()
{
    // Whoever hears that the attempt is over reads when that was, which has no signal of its own.
    setLastSyncTime(m_environment.clock.now());
    m_environment.userDefaults.setInteger(kLastSyncRecordCount, 0);
    setIsSyncing(false);
}

void SyncService::fail(const QString& text)
{
    m_hasFailed = true;
    setLastSyncError(text);
    setIsSyncing(false);
}

void SyncService::failWith(const QString& text, const QString& description)
{
    fail(text);
    log(kFailedWithError + description);
}

/// Lets go of what was delivered; of many samples on another thread, because that takes a while,
/// and not before the HTTP client has let go of them, or the last to hold them would be this one.
void SyncService::discard(activity::ActivityIds delivered)
{
    const auto rows = std::make_shared<FoldedRows>(std::exchange(m_rows, FoldedRows()));
    if (rows->logs().size() <= kAtOnce)
        return;
    const auto ids = std::make_shared<activity::ActivityIds>(std::move(delivered));
    QTimer::singleShot(kTimeToLetGo, this, [this, last = std::pair(rows, ids)]() mutable {
        m_discarder = threadFor([last = std::exchange(last, {})]() mutable { last = {}; });
    });
}

std::optional<double> SyncService::lastSyncTime() const
{
    return m_environment.userDefaults.date(kLastSyncTime);
}

void SyncService::setLastSyncTime(std::optional<double> time)
{
    if (time)
        m_environment.userDefaults.setDate(kLastSyncTime, *time);
    else
        m_environment.userDefaults.remove(kLastSyncTime);
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
    m_retry.reset();
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
