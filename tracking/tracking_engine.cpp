// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tracking/tracking_engine.h"

#include "activity/activity_log.h"
#include "activity/data_store.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/idle_time.h"
#include "platform/script_runner.h"
#include "platform/window_title.h"
#include "tracking/sample.h"

#include <QLoggingCategory>

#include <chrono>
#include <utility>

namespace tracking {

namespace {

// For developers; off by default. Nothing of what is in front.
Q_LOGGING_CATEGORY(lcTracking, "velomira.tracking", QtCriticalMsg)

constexpr std::chrono::seconds kInterval(1);
constexpr double kSampleSeconds = 1.0;

} // namespace

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
    setIdleTime(m_environment.idleTime.secondsSinceLastInput());
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

    const std::optional<QString> address = addressFor(application->bundleIdentifier);
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

std::optional<QString> TrackingEngine::addressFor(const std::optional<QString>& bundleIdentifier)
{
    const std::optional<QStringView> script = addressScript(bundleIdentifier);
    return script ? runAppleScript(*script) : std::nullopt;
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

void TrackingEngine::setIdleTime(double seconds)
{
    if (std::exchange(m_idleTime, seconds) != seconds)
        Q_EMIT idleTimeChanged();
}

} // namespace tracking
