// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/start_variables.h"

#include <array>
#include <cstdlib>

namespace platform::posix {

namespace {

constexpr std::array kVariables{
    // D-Bus, "Message Bus Starting Services"
    "DBUS_STARTER_ADDRESS",
    "DBUS_STARTER_BUS_TYPE",
    // GIO, for the process that was launched
    "GIO_LAUNCHED_DESKTOP_FILE",
    "GIO_LAUNCHED_DESKTOP_FILE_PID",
    // systemd.exec(5), sd_notify(3), sd_listen_fds(3), sd_watchdog_enabled(3)
    "INVOCATION_ID",
    "JOURNAL_STREAM",
    "LISTEN_FDNAMES",
    "LISTEN_FDS",
    "LISTEN_PID",
    "MANAGERPID",
    "NOTIFY_SOCKET",
    "SYSTEMD_EXEC_PID",
    "WATCHDOG_PID",
    "WATCHDOG_USEC",
};

} // namespace

void forgetHowThisProgramWasStarted()
{
    for (const char* name : kVariables)
        ::unsetenv(name); // NOLINT(concurrency-mt-unsafe)
}

} // namespace platform::posix
