// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace platform::posix {

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the process ends in its own time and
/// order. Main thread, with an application; one at a time. A reader that leaves the other end of
/// our standard output does not end the process from then on (SIGPIPE is ignored).
/// Programs that this process starts or becomes have the signals as the system gives them: they are
/// caught here, not blocked, and a block would be inherited.
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
    static void hold();

Q_SIGNALS:
    void requested();

private:
    void take();

    QSocketNotifier m_notifier;
};

} // namespace platform::posix
