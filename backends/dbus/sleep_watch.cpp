// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/sleep_watch.h"

#include <QPointer>

#include <utility>

namespace platform::dbus {

namespace {

constexpr QLatin1StringView kService("org.freedesktop.login1");
constexpr QLatin1StringView kPath("/org/freedesktop/login1");
constexpr QLatin1StringView kManager("org.freedesktop.login1.Manager");

} // namespace

SleepWatch::SleepWatch(const QDBusConnection& systemBus,
                       QString who,
                       QString why,
                       Preparation prepare)
    : m_bus(systemBus)
    , m_owner(kService, systemBus, QDBusServiceWatcher::WatchForRegistration)
    , m_who(std::move(who))
    , m_why(std::move(why))
    , m_prepare(std::move(prepare))
{
    if (!m_bus.isConnected())
        return;
    m_bus.connect(kService,
                  kPath,
                  kManager,
                  QStringLiteral("PrepareForSleep"),
                  this,
                  SLOT(prepareForSleep(bool)));
    connect(&m_owner, &QDBusServiceWatcher::serviceRegistered, this, &SleepWatch::askForDelay);
    askForDelay();
}

void SleepWatch::prepareForSleep(bool isComing)
{
    if (!isComing) {
        askForDelay();
        return;
    }
    m_prepare([self = QPointer(this)] {
        if (self)
            self->m_delay = {}; // closing it is what lets the machine go on
    });
}

void SleepWatch::askForDelay()
{
    m_question.ask<QDBusUnixFileDescriptor>(
        m_bus,
        callOf(kService,
               kPath,
               kManager,
               QStringLiteral("Inhibit"),
               {QStringLiteral("sleep"), m_who, m_why, QStringLiteral("delay")}),
        [this](const QDBusPendingReply<QDBusUnixFileDescriptor>& reply) {
            if (reply.isValid())
                m_delay = reply.value();
        },
        kForEver);
}

} // namespace platform::dbus
