// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/faulty_proxy.h"

#include <QHostAddress>

#include <memory>

namespace support {

namespace {

constexpr qsizetype kCut = 5;

/// True when `message` holds a header and as much of a body as that announces.
bool isWhole(const QByteArray& message)
{
    const qsizetype headEnd = message.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    const QByteArray head = message.first(headEnd).toLower();
    const qsizetype field = head.indexOf("\r\ncontent-length:");
    if (field < 0)
        return true;
    const qsizetype from = field + qsizetype(sizeof "\r\ncontent-length:") - 1;
    const qsizetype to = head.indexOf('\r', from);
    const qsizetype length = head.mid(from, to < 0 ? -1 : to - from).trimmed().toLongLong();
    return message.size() >= headEnd + 4 + length;
}

/// Calls `whole` once with what has come on `connection`, when that is a whole message.
void collect(QTcpSocket& connection, const std::function<void(const QByteArray&)>& whole)
{
    const auto received = std::make_shared<QByteArray>();
    const auto isDone = std::make_shared<bool>(false);
    const auto read = [&connection, received, isDone, whole] {
        *received += connection.readAll();
        if (*isDone || !isWhole(*received))
            return;
        *isDone = true;
        whole(*received);
    };
    QObject::connect(&connection, &QTcpSocket::readyRead, &connection, read);
    read();
}

} // namespace

FaultyProxy::FaultyProxy(quint16 servicePort)
    : m_servicePort(servicePort)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* const client = m_server.nextPendingConnection()) {
            connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
            collect(*client,
                    [this, client](const QByteArray& request) { treat(*client, request); });
        }
    });
    m_server.listen(QHostAddress::LocalHost);
}

QString FaultyProxy::url() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void FaultyProxy::treat(QTcpSocket& client, const QByteArray& request)
{
    const Fault fault = m_next();
    if (fault == Fault::Reset) {
        client.abort();
    } else if (fault == Fault::ServerError) {
        client.write("HTTP/1.1 500 Broken\r\nContent-Length: 6\r\n\r\nbroken");
        client.disconnectFromHost();
    } else {
        forward(client, request, fault);
    }
}

void FaultyProxy::forward(QTcpSocket& client, const QByteArray& request, Fault fault)
{
    auto* const service = new QTcpSocket(&client);
    service->connectToHost(QHostAddress::LocalHost, m_servicePort);
    if (fault == Fault::CutRequest) {
        service->write(request.first(request.size() / 2));
        connect(service, &QTcpSocket::bytesWritten, &client, [&client, service] {
            if (service->bytesToWrite() == 0)
                client.abort();
        });
        return;
    }
    service->write(request);
    collect(*service, [&client, fault](const QByteArray& answer) {
        if (fault == Fault::NoAnswer)
            return;
        if (fault == Fault::None)
            client.write(answer);
        else if (fault == Fault::CutAnswer)
            client.write(answer.chopped(kCut));
        client.disconnectFromHost();
    });
    // A service that dies cuts off whoever waits for it.
    connect(service, &QTcpSocket::disconnected, &client, [&client, service] {
        if (service->bytesAvailable() == 0 && client.bytesToWrite() == 0)
            client.disconnectFromHost();
    });
}

} // namespace support
