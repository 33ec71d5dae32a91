// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QTcpSocket>

namespace support {

/// The remote control of a Firefox that runs with --marionette.
/// Main thread. Calls block until the browser has answered, for some seconds at most, and run the
/// event loop meanwhile.
class Marionette final
{
public:
    /// Connects to `port` on this machine and begins a session.
    [[nodiscard]] platform::Outcome connectTo(quint16 port);

    /// What the browser answers to `command`; a failure has the browser's words.
    [[nodiscard]] platform::Result<QJsonValue> ask(const QString& command,
                                                   const QJsonObject& parameters = {});

    /// Sends a command whose answer may never come.
    void tell(const QString& command, const QJsonObject& parameters = {});

private:
    [[nodiscard]] platform::Result<QJsonValue> receive();
    [[nodiscard]] bool holdsMessage() const;

    QTcpSocket m_socket;
    QByteArray m_received;
    int m_commands = 0;
};

} // namespace support
