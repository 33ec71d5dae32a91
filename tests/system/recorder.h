// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/data_store.h"
#include "backends/linux/linux_environment.h"
#include "tests/fakes/fake_diagnostics.h"
#include "tests/fakes/fake_repeating_timers.h"
#include "tracking/tracking_engine.h"

#include <QDBusConnection>
#include <QString>
#include <QStringList>

#include <memory>

namespace recording {

/// The product's tracking on the desktop that the process's environment names, with everything real
/// but the clock of the ticks: a test says when the next one comes. Owns the product's name on the
/// session bus.
/// Main thread.
class Recorder final
{
public:
    /// Null, with the reason in `problem`, when there is no display.
    [[nodiscard]] static std::unique_ptr<Recorder> start(QString& problem);

    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    /// What a tick would record now: "NAME | TITLE", or "(none)".
    [[nodiscard]] QString front() const;

    [[nodiscard]] double idleSeconds() const;

    /// One second of the product's life.
    void tick();

    /// What has been recorded so far, in the form of front().
    [[nodiscard]] QStringList records() const;

    [[nodiscard]] platform::LinuxEnvironment& environment() { return *m_environment; }

private:
    Recorder(QDBusConnection bus, std::unique_ptr<platform::LinuxEnvironment> environment);

    QDBusConnection m_bus;
    std::unique_ptr<platform::LinuxEnvironment> m_environment;
    fakes::FakeRepeatingTimers m_timers;
    fakes::FakeDiagnostics m_diagnostics;
    platform::Environment m_facilities;
    activity::DataStore m_store;
    tracking::TrackingEngine m_engine;
};

} // namespace recording
