// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QProcessEnvironment>
#include <QString>

namespace support {

/// A message bus for a private desktop. What it starts inherits the environment it was given.
/// Ends with this object, and with the test process.
/// Main thread.
class BusDaemon final
{
public:
    /// Starts it on the socket `socket`. Returns when it takes connections.
    [[nodiscard]] platform::Outcome start(const QString& socket,
                                          const QProcessEnvironment& environment);

    /// Ends it at once.
    void kill() { m_daemon.kill(); }

    [[nodiscard]] const QString& address() const { return m_address; }

private:
    QString m_address;
    ChildProcess m_daemon;
};

} // namespace support
