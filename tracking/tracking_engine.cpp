// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tracking/tracking_engine.h"

#include "activity/activity_list.h"
#include "activity/data_store.h"
#include "base/truncated.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/idle_time.h"
#include "platform/script_runner.h"
#include "platform/window_title.h"

#include <QLoggingCategory>

#include <chrono>
#include <utility>

namespace tracking {

namespace {

constexpr QLatin1StringView kUnknown("Unknown");
constexpr QLatin1StringView kNoAddress("--");
constexpr QStringView kChromeScript =
    u"tell application \"Google Chrome\" to return URL of active tab of front window";
constexpr QStringView kSafariScript =
    u"tell application \"Safari\" to return URL of front document";

// For developers; off by default. Nothing of what is in front.
Q_LOGGING_CATEGORY(lcTracking, "velomira.tracking", QtCriticalMsg)

constexpr std::chrono::seconds kInterval(1);
constexpr double kSampleSeconds = 1.0;

} // namespace

bool isIdle(double idleSeconds, double threshold)
{
    return idleSeconds > threshold;
}

QString applicationName(const platform::Application& application)
{
    if (application.localizedName)
        return *application.localizedName;
    return application.bundleIdentifier.value_or(kUnknown);
}

std::optional<QStringView> addressScript(const std::optional<QString>& identifier)
{
    // The identifier carries the dialect that a browser answers to.
    if (identifier && identifier->contains(QLatin1StringView("Chrome")))
        return kChromeScript;
    if (identifier && identifier->contains(QLatin1StringView("Safari")))
        return kSafariScript;
    return std::nullopt;
}

QString tickLine(const QString& name, const QString& title, const std::optional<QString>& address)
{
    const QLatin1StringView bar(" | ");
    return QLatin1StringView("Tick: ") + name + bar + title + bar + address.value_or(kNoAddress);
}

QString idleLine(double idleSeconds)
{
    const auto seconds = platform::truncated(idleSeconds);
    if (!seconds)
        qFatal("The idle time, %f s, is not a number of seconds", idleSeconds);
    return QLatin1StringView("Idle: ") + QString::number(*seconds) + QLatin1Char('s');
}

TrackingEngine::TrackingEngine(const platform::Environment& environment, activity::DataStore& store)
    : m_environment(environment)
    , m_store(store)
{
}

TrackingEngine::~TrackingEngine() = default;

TrackingEngine& TrackingEngine::shared()
{
    static auto* const instance =
        new TrackingEngine(platform::environment(), activity::DataStore::shared());
    return *instance;
}

void TrackingEngine::start()
{
    if (m_isTracking)
        return;
    m_isTracking = true;
    m_isPaused = false;
    Q_EMIT isTrackingChanged();
    // Destroyed with the engine, so the callback never outlives it.
    setTimer(m_environment.repeatingTimers.schedule(kInterval, [this] { tick(); }));
}

void TrackingEngine::stop()
{
    if (std::exchange(m_isTracking, false)) {
        m_isPaused = true;
        Q_EMIT isTrackingChanged();
    }
    setTimer(nullptr);
}

void TrackingEngine::tick()
{
    const double idle = m_environment.idleTime.secondsSinceLastInput();
    if (std::exchange(m_idleTime, idle) != idle)
        Q_EMIT idleTimeChanged();
    if (isIdle(m_idleTime, idleThreshold)) {
        m_environment.diagnostics.line(idleLine(m_idleTime));
        return;
    }
    const auto application = m_environment.frontmostApplication.frontmostApplication();
    if (!application) {
        qCDebug(lcTracking) << "nothing is in front";
        return;
    }
    const QString name = applicationName(*application);
    if (std::exchange(m_currentApp, name) != name)
        Q_EMIT currentAppChanged();

    const QString title =
        m_environment.windowTitle.focusedWindowTitle(*application).value_or(QLatin1StringView(""));
    if (std::exchange(m_currentTitle, title) != title)
        Q_EMIT currentTitleChanged();

    const std::optional<QStringView> script = addressScript(application->bundleIdentifier);
    const std::optional<QString> address = script ? runAppleScript(*script) : std::nullopt;
    const QString shown = address.value_or(QString());
    if (std::exchange(m_currentURL, shown) != shown)
        Q_EMIT currentURLChanged();

    if (!m_sample || m_sample->name != name || m_sample->title != title ||
        m_sample->address != address)
        m_sample = Sample{
            .name = name,
            .title = title,
            .address = address,
            .appName = activity::SharedText(name),
            .windowTitle = activity::SharedText(title),
            .url = address ? std::optional(activity::SharedText(*address)) : std::nullopt,
            .line = tickLine(name, title, address),
        };
    m_store.addLog({
        .appName = m_sample->appName,
        .windowTitle = m_sample->windowTitle,
        .url = m_sample->url,
        .timestamp = m_environment.clock.now(),
        .duration = kSampleSeconds,
    });
    m_environment.diagnostics.line(m_sample->line);
}

std::optional<QString> TrackingEngine::runAppleScript(QStringView source)
{
    // Whatever went wrong, the sample is worth having without the address.
    const auto result = m_environment.scriptRunner.run(source);
    if (!result)
        qCDebug(lcTracking) << "the browser was not asked for its address";
    return result ? result.value() : std::nullopt;
}

void TrackingEngine::setTimer(std::unique_ptr<platform::RepeatingTimer> timer)
{
    if (timer == m_timer) // both none
        return;
    m_timer = std::move(timer);
    Q_EMIT timerChanged();
}

} // namespace tracking
