// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/bus_daemon.h"

namespace support {

namespace {
constexpr int kStartMs = 20000; // on a loaded machine; usual are some milliseconds
} // namespace

platform::Outcome BusDaemon::start(const QString& socket, const QProcessEnvironment& environment)
{
    m_address = QStringLiteral("unix:path=") + socket;
    const QStringList arguments{QStringLiteral("--session"),
                                QStringLiteral("--nofork"),
                                QStringLiteral("--nopidfile"),
                                QStringLiteral("--print-address=1"),
                                QStringLiteral("--address=") + m_address};
    if (const auto started = m_daemon.start(QStringLiteral("dbus-daemon"),
                                            arguments,
                                            environment,
                                            socket + QLatin1StringView(".log"));
        !started)
        return started;
    QProcess& process = m_daemon.process();
    while (!process.canReadLine() && process.waitForReadyRead(kStartMs)) {
    }
    if (!process.canReadLine())
        return platform::Error{QStringLiteral("dbus-daemon has not told its address")};
    return platform::success();
}

} // namespace support
