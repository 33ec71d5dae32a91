// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace platform::posix {

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the process ends in its own time and
/// order. Main thread. Make it before any thread is started: they inherit that these signals are
/// blocked. A reader that leaves the other end of our standard output does not end the process from
/// then on (SIGPIPE is ignored).
class TerminationSignals final : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    ~TerminationSignals() override;

Q_SIGNALS:
    void requested();

private:
    void take();

    int m_descriptor;
    QSocketNotifier m_notifier;
};

} // namespace platform::posix
