// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/system/recorder.h"

#include "backends/dbus/bus_address.h"
#include "platform/idle_time.h"
#include "platform/window_title.h"

#include <QDBusError>

#include <chrono>
#include <utility>

namespace recording {

namespace {

const QString kName = QStringLiteral("com.velomira.UsageMonitor");
const QString kConnection = QStringLiteral("recorder");

QString line(const QString& name, const QString& title)
{
    return name + QLatin1StringView(" | ") + title;
}

platform::Environment withTestsOwn(platform::Environment facilities,
                                   fakes::FakeRepeatingTimers& timers,
                                   fakes::FakeDiagnostics& diagnostics)
{
    return {
        .idleTime = facilities.idleTime,
        .frontmostApplication = facilities.frontmostApplication,
        .windowTitle = facilities.windowTitle,
        .scriptRunner = facilities.scriptRunner,
        .repeatingTimers = timers,
        .clock = facilities.clock,
        .diagnostics = diagnostics,
        .atomicFiles = facilities.atomicFiles,
        .userDefaults = facilities.userDefaults,
        .secretStore = facilities.secretStore,
        .httpClient = facilities.httpClient,
        .applicationSupport = facilities.applicationSupport,
        .enterBackground = [] {},
    };
}

} // namespace

std::unique_ptr<Recorder> Recorder::start(QString& problem)
{
    auto bus = QDBusConnection::connectToBus(platform::dbus::sessionBusAddress(), kConnection);
    if (!bus.registerService(kName)) {
        problem = QStringLiteral("the name cannot be had: ") + bus.lastError().message();
        return nullptr;
    }
    auto environment = platform::LinuxEnvironment::create(bus);
    if (!environment) {
        problem = environment.error().text;
        return nullptr;
    }
    environment.value()->waitUntilDecided(std::chrono::seconds(10));
    return std::unique_ptr<Recorder>(new Recorder(bus, std::move(environment).value()));
}

Recorder::Recorder(QDBusConnection bus, std::unique_ptr<platform::LinuxEnvironment> environment)
    : m_bus(std::move(bus))
    , m_environment(std::move(environment))
    , m_facilities(withTestsOwn(m_environment->facilities(), m_timers, m_diagnostics))
    , m_store({.applicationSupport = m_facilities.applicationSupport,
               .files = m_facilities.atomicFiles,
               .diagnostics = m_diagnostics})
    , m_engine(m_facilities, m_store)
{
    m_engine.start();
}

Recorder::~Recorder()
{
    m_engine.stop();
    m_environment.reset();
    m_bus.unregisterService(kName);
    QDBusConnection::disconnectFromBus(kConnection);
}

QString Recorder::front() const
{
    const auto application = m_facilities.frontmostApplication.frontmostApplication();
    if (!application)
        return QStringLiteral("(none)");
    return line(application->localizedName.value_or(QString()),
                m_facilities.windowTitle.focusedWindowTitle(*application).value_or(QString()));
}

double Recorder::idleSeconds() const
{
    return m_facilities.idleTime.secondsSinceLastInput();
}

void Recorder::tick()
{
    m_timers.fire();
}

QStringList Recorder::records() const
{
    QStringList lines;
    for (const activity::ActivityLog& log : m_store.activities())
        lines += line(log.appName.toString(), log.windowTitle->toString());
    return lines;
}

} // namespace recording
