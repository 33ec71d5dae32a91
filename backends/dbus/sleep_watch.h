// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>
#include <QObject>

#include <functional>

namespace platform::dbus {

/// Lets something be done before the machine goes to sleep: a battery that runs empty meanwhile is
/// a power cut. Asks the login manager (org.freedesktop.login1, signal PrepareForSleep) to wait
/// with an inhibitor lock of mode "delay", which it does for some seconds at most. Without a login
/// manager nothing happens.
/// Main thread, with an event loop; never waits for it and does not start it.
class SleepWatch final : public QObject
{
    Q_OBJECT

public:
    /// What to do; it calls its argument on the main thread when it is done.
    using Preparation = std::function<void(std::function<void()> done)>;

    /// `who` and `why` are shown to people who ask what holds up the machine.
    SleepWatch(const QDBusConnection& systemBus, QString who, QString why, Preparation prepare);

private:
    Q_SLOT void prepareForSleep(bool isComing);
    void askForDelay();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_owner;
    QString m_who;
    QString m_why;
    Preparation m_prepare;
    Question m_question;
    QDBusUnixFileDescriptor m_delay;
};

} // namespace platform::dbus
