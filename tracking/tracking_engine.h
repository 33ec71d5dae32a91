// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"
#include "platform/environment.h"
#include "platform/frontmost_application.h"
#include "platform/repeating_timer.h"

#include <QObject>
#include <QString>
#include <QStringView>

#include <memory>
#include <optional>

namespace activity {
class DataStore;
}

namespace tracking {

/// The rules by which one look at the desktop becomes one sample. Pure functions, any thread.

/// True when nobody has touched the machine for longer than `threshold` seconds. Not-a-number,
/// "unknown", counts as activity.
[[nodiscard]] bool isIdle(double idleSeconds, double threshold);

/// The name to record for `application`: its own, else its identifier, else "Unknown".
[[nodiscard]] QString applicationName(const platform::Application& application);

/// The script that asks the browser with this identifier for the address on show; none for every
/// other application.
[[nodiscard]] std::optional<QStringView> addressScript(const std::optional<QString>& identifier);

/// The line that reports a recorded sample.
[[nodiscard]] QString
tickLine(const QString& name, const QString& title, const std::optional<QString>& address);

/// The line that reports a tick without a sample, with the seconds cut to a whole number. A number
/// of seconds that no 64-bit integer holds ends the program.
[[nodiscard]] QString idleLine(double idleSeconds);

/// The sampler: once a second, while tracking is on and the user is active, one record of the
/// application in front, the title of its window and, for browsers, the address of the page.
///
/// Main thread only. Each property's signal is emitted when its value has changed.
class TrackingEngine final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isTracking READ isTracking NOTIFY isTrackingChanged FINAL)
    Q_PROPERTY(QString currentApp READ currentApp NOTIFY currentAppChanged FINAL)
    Q_PROPERTY(QString currentTitle READ currentTitle NOTIFY currentTitleChanged FINAL)
    Q_PROPERTY(QString currentURL READ currentURL NOTIFY currentURLChanged FINAL)
    Q_PROPERTY(double idleTime READ idleTime NOTIFY idleTimeChanged FINAL)

public:
    /// An idle time greater than this, in seconds, records nothing.
    static constexpr double idleThreshold = 120.0;

    /// Starts nothing. Both must outlive the engine.
    TrackingEngine(const platform::Environment& environment, activity::DataStore& store);
    ~TrackingEngine() override;

    /// The process's engine, made on first use from the installed environment and the shared store;
    /// never destroyed.
    static TrackingEngine& shared();

    /// Starts tracking unless it is on; the first sample comes a second later.
    void start();

    /// Stops tracking. The properties keep their last values.
    void stop();

    [[nodiscard]] bool isTracking() const { return m_isTracking; }

    /// Whether tracking is off because it was stopped, and not because it was never started.
    [[nodiscard]] bool isPaused() const { return m_isPaused; }

    /// Of the last active tick; empty before it, and where there was none.
    [[nodiscard]] QString currentApp() const { return m_currentApp; }

    [[nodiscard]] QString currentTitle() const { return m_currentTitle; }

    [[nodiscard]] QString currentURL() const { return m_currentURL; }

    /// Seconds since the user's last input, as of the last tick; not-a-number where unknown.
    [[nodiscard]] double idleTime() const { return m_idleTime; }

    /// The running timer; none while stopped.
    [[nodiscard]] const platform::RepeatingTimer* timer() const { return m_timer.get(); }

Q_SIGNALS:
    void timerChanged();
    void isTrackingChanged();
    void currentAppChanged();
    void currentTitleChanged();
    void currentURLChanged();
    void idleTimeChanged();

private:
    /// The last sample, and what it is recorded and told as.
    struct Sample
    {
        QString name;
        QString title;
        std::optional<QString> address;
        activity::SharedText appName;
        activity::SharedText windowTitle;
        std::optional<activity::SharedText> url;
        QString line;
    };

    void tick();
    [[nodiscard]] std::optional<QString> runAppleScript(QStringView source);
    void setTimer(std::unique_ptr<platform::RepeatingTimer> timer);

    const platform::Environment& m_environment;
    activity::DataStore& m_store;
    std::unique_ptr<platform::RepeatingTimer> m_timer;
    bool m_isTracking = false;
    bool m_isPaused = false;
    std::optional<Sample> m_sample;
    QString m_currentApp;
    QString m_currentTitle;
    QString m_currentURL;
    double m_idleTime = 0;
};

} // namespace tracking
