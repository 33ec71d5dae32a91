// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/scripted_server.h"

#include <QSslServer>
#include <QTimer>

#include <sys/socket.h>

namespace support {

namespace {

/// The request that `received` holds whole; none while it does not.
std::optional<ScriptedServer::Request> parse(const QByteArray& received)
{
    const qsizetype headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return std::nullopt;
    QList<QByteArray> lines = received.first(headEnd).split('\n');
    const QList<QByteArray> start = lines.takeFirst().trimmed().split(' ');
    ScriptedServer::Request request{
        .method = start.value(0), .target = start.value(1), .headers = {}, .body = {}};
    for (const QByteArray& line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.first(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (received.size() - (headEnd + 4) < length)
        return std::nullopt; // and no copy of what there is, for every piece of a long body
    request.body = received.mid(headEnd + 4);
    return request;
}

} // namespace

ScriptedServer::ScriptedServer(const std::optional<QSslConfiguration>& tls,
                               const QHostAddress& address)
{
    if (tls) {
        auto server = std::make_unique<QSslServer>();
        server->setSslConfiguration(*tls);
        m_server = std::move(server);
    } else {
        m_server = std::make_unique<QTcpServer>();
    }
    connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket* const connection = m_server->nextPendingConnection()) {
            auto received = std::make_shared<QByteArray>();
            connect(connection, &QTcpSocket::readyRead, this, [this, connection, received] {
                read(*connection, *received);
            });
            connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
            read(*connection, *received);
        }
    });
    m_server->listen(address);
}

ScriptedServer::~ScriptedServer() = default;

void ScriptedServer::read(QTcpSocket& connection, QByteArray& received)
{
    received += connection.readAll();
    const std::optional<Request> request = parse(received);
    if (!request)
        return;
    received.clear();
    m_requests.append(*request);
    Answer answer = m_default;
    if (!m_answers.empty()) {
        answer = std::move(m_answers.front());
        m_answers.pop_front();
    }
    answer(connection);
}

void ScriptedServer::willAnswer(Answer answer)
{
    m_answers.push_back(std::move(answer));
}

QString ScriptedServer::url(const QString& host) const
{
    const bool isTls = qobject_cast<const QSslServer*>(m_server.get()) != nullptr;
    return QStringLiteral("%1://%2:%3")
        .arg(isTls ? QStringLiteral("https") : QStringLiteral("http"), host)
        .arg(port());
}

ScriptedServer::Answer
ScriptedServer::reply(int status, const QByteArray& body, const QByteArray& headers)
{
    return bytes("HTTP/1.1 " + QByteArray::number(status) + " Status\r\nContent-Length: " +
                 QByteArray::number(body.size()) + "\r\n" + headers + "\r\n" + body);
}

ScriptedServer::Answer ScriptedServer::redirect(int status, const QString& location)
{
    return reply(status, "moved", "Location: " + location.toUtf8() + "\r\n");
}

ScriptedServer::Answer ScriptedServer::bytes(const QByteArray& text)
{
    return [text](QTcpSocket& connection) {
        connection.write(text);
        connection.disconnectFromHost();
    };
}

ScriptedServer::Answer ScriptedServer::bytesAndReset(const QByteArray& text)
{
    return [text](QTcpSocket& connection) {
        connection.write(text);
        connection.flush();
        const linger atOnce{.l_onoff = 1, .l_linger = 0};
        setsockopt(static_cast<int>(connection.socketDescriptor()),
                   SOL_SOCKET,
                   SO_LINGER,
                   &atOnce,
                   sizeof atOnce);
        connection.abort();
    };
}

ScriptedServer::Answer ScriptedServer::drip(const QByteArray& text,
                                            std::chrono::milliseconds interval)
{
    return [text, interval](QTcpSocket& connection) {
        auto* const timer = new QTimer(&connection);
        QObject::connect(
            timer, &QTimer::timeout, &connection, [&connection, timer, text, next = 0]() mutable {
                connection.write(text.sliced(next, 1));
                if (++next == text.size()) {
                    timer->stop();
                    connection.disconnectFromHost();
                }
            });
        timer->start(interval);
    };
}

ScriptedServer::Answer ScriptedServer::silence()
{
    return [](QTcpSocket&) {
    };
}

} // namespace support
