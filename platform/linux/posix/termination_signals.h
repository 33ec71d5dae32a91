// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace platform::posix {

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the process ends in its own time and
/// order. Main thread, with an application. Make it, or call block(), before any thread is started:
/// they inherit that these signals are blocked. A reader that leaves the other end of our standard
/// output does not end the process from then on (SIGPIPE is ignored).
class TerminationSignals final : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    ~TerminationSignals() override;

    /// Keeps the signals from ending the process by themselves; they wait for an object of this
    /// class. For the time before there is an application.
    static void block();

    /// Undoes block(), for a program that this process is about to become.
    static void unblock();

Q_SIGNALS:
    void requested();

private:
    void take();

    int m_descriptor;
    QSocketNotifier m_notifier;
};

} // namespace platform::posix
