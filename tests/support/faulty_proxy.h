// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdint>
#include <functional>

namespace support {

/// Stands between a client and a web service on this machine and breaks what goes through it.
/// Main thread; it works while the event loop runs.
class FaultyProxy final : public QObject
{
    Q_OBJECT

public:
    enum class Fault : std::uint8_t {
        None,
        Reset,       ///< the connection is reset once the request has come
        CutRequest,  ///< the service gets half of the request
        ServerError, ///< an answer of 500 that the service knows nothing of
        LostAnswer,  ///< the service has answered, and the client is cut off
        CutAnswer,   ///< the client gets all of the answer but its last bytes
        NoAnswer,    ///< the service has answered, and the client waits for ever
    };

    explicit FaultyProxy(quint16 servicePort);

    /// What happens to a connection is asked of `next` once its request has come.
    void setFaults(std::function<Fault()> next) { m_next = std::move(next); }

    [[nodiscard]] QString url() const;

private:
    void treat(QTcpSocket& client, const QByteArray& request);
    void forward(QTcpSocket& client, const QByteArray& request, Fault fault);

    quint16 m_servicePort;
    QTcpServer m_server;
    std::function<Fault()> m_next = [] {
        return Fault::None;
    };
};

} // namespace support
