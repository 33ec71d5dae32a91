// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/termination_signals.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace platform::posix {

namespace {

sigset_t terminationSet()
{
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGTERM);
    ::sigaddset(&set, SIGINT);
    ::sigaddset(&set, SIGHUP);
    return set;
}

int blockedSignalDescriptor()
{
    TerminationSignals::block();
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = terminationSet();
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

TerminationSignals::TerminationSignals()
    : m_descriptor(blockedSignalDescriptor())
    , m_notifier(m_descriptor, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::take);
}

TerminationSignals::~TerminationSignals()
{
    m_notifier.setEnabled(false);
    ::close(m_descriptor);
}

void TerminationSignals::block()
{
    const sigset_t set = terminationSet();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void TerminationSignals::unblock()
{
    const sigset_t set = terminationSet();
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void TerminationSignals::take()
{
    signalfd_siginfo info = {};
    while (::read(m_descriptor, &info, sizeof info) == sizeof info)
        Q_EMIT requested();
}

} // namespace platform::posix
