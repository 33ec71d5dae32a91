// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace support {

/// A web server on a loopback socket that does what a test tells it, however wrong.
/// Main thread; it works while the event loop runs.
class ScriptedServer final : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        QByteArray method;
        QByteArray target;
        QMap<QByteArray, QByteArray> headers; // by name in lower case
        QByteArray body;
    };

    /// Something to do with a connection whose request has been read.
    using Answer = std::function<void(QTcpSocket&)>;

    /// Listens on a free port; with `tls` it speaks TLS.
    explicit ScriptedServer(const std::optional<QSslConfiguration>& tls = std::nullopt,
                            const QHostAddress& address = QHostAddress::LocalHost);
    ~ScriptedServer() override;

    /// What to do with the next request for which nothing is planned yet.
    void willAnswer(Answer answer);

    /// What to do with requests for which nothing is planned; by default, nothing.
    void willAlwaysAnswer(Answer answer) { m_default = std::move(answer); }

    /// Its address, seen from a client that calls it `host`.
    [[nodiscard]] QString url(const QString& host = QStringLiteral("127.0.0.1")) const;

    [[nodiscard]] quint16 port() const { return m_server->serverPort(); }

    /// What has been read, in order.
    [[nodiscard]] const QList<Request>& requests() const { return m_requests; }

    /// A complete answer, after which the connection ends.
    [[nodiscard]] static Answer
    reply(int status, const QByteArray& body, const QByteArray& headers = {});

    /// A status with a place to go on to.
    [[nodiscard]] static Answer redirect(int status, const QString& location);

    /// These bytes as they are, then the end of the connection.
    [[nodiscard]] static Answer bytes(const QByteArray& text);

    /// These bytes as they are, then a TCP reset.
    [[nodiscard]] static Answer bytesAndReset(const QByteArray& text);

    /// These bytes one by one at `interval`, then the end of the connection.
    [[nodiscard]] static Answer drip(const QByteArray& text, std::chrono::milliseconds interval);

    /// Silence on an open connection.
    [[nodiscard]] static Answer silence();

private:
    void read(QTcpSocket& connection, QByteArray& received);

    std::unique_ptr<QTcpServer> m_server;
    QList<Request> m_requests;
    std::deque<Answer> m_answers;
    Answer m_default = silence();
};

} // namespace support
