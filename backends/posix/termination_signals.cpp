// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/termination_signals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform::posix {

namespace {

/// Counts the signals that wait. One for the process, like what it is about; never closed.
int waiting()
{
    static const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor;
}

/// Only what a signal handler may do; the descriptor is there before the handler is.
void count(int /*signal*/)
{
    const int before = errno;
    const std::uint64_t one = 1;
    static_cast<void>(::write(waiting(), &one, sizeof one));
    errno = before;
}

int heldSignals()
{
    TerminationSignals::hold();
    ::signal(SIGPIPE, SIG_IGN);
    return waiting();
}

} // namespace

TerminationSignals::TerminationSignals()
    : m_notifier(heldSignals(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::take);
}

TerminationSignals::~TerminationSignals() = default;

void TerminationSignals::hold()
{
    static_cast<void>(waiting());
    struct sigaction action = {};
    action.sa_handler = count;
    action.sa_flags = SA_RESTART;
    for (const int signal : std::array{SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

void TerminationSignals::take()
{
    std::uint64_t signals = 0;
    if (::read(waiting(), &signals, sizeof signals) == sizeof signals)
        Q_EMIT requested();
}

} // namespace platform::posix
