// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/marionette.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

namespace support {

namespace {

constexpr int kPatienceMs = 60000; // a page may wait for a loaded machine

/// The JSON text of a message "LENGTH:JSON" that may not be whole yet.
struct Frame
{
    qsizetype start = 0;
    qsizetype length = -1;
};

Frame frameOf(const QByteArray& received)
{
    const qsizetype colon = received.indexOf(':');
    if (colon < 0)
        return {};
    return {.start = colon + 1, .length = received.left(colon).toLongLong()};
}

} // namespace

platform::Outcome Marionette::connectTo(quint16 port)
{
    m_socket.connectToHost(QHostAddress::LocalHost, port);
    // The browser greets whoever comes.
    if (const auto greeting = receive(); !greeting)
        return greeting.error();
    if (const auto session = ask(QStringLiteral("WebDriver:NewSession")); !session)
        return session.error();
    return platform::success();
}

platform::Result<QJsonValue> Marionette::ask(const QString& command, const QJsonObject& parameters)
{
    tell(command, parameters);
    for (;;) {
        auto message = receive();
        if (!message)
            return message;
        // An answer is [1, number, error, result].
        const QJsonArray answer = message.value().toArray();
        if (answer.at(1).toInt() != m_commands)
            continue;
        if (answer.at(2).isNull())
            return answer.at(3);
        return platform::Error{QStringLiteral("%1: %2").arg(
            command, answer.at(2).toObject().value(QLatin1StringView("message")).toString())};
    }
}

void Marionette::tell(const QString& command, const QJsonObject& parameters)
{
    const QByteArray text = QJsonDocument(QJsonArray{0, ++m_commands, command, parameters})
                                .toJson(QJsonDocument::Compact);
    m_socket.write(QByteArray::number(text.size()) + ':' + text);
    m_socket.flush();
}

platform::Result<QJsonValue> Marionette::receive()
{
    const auto isThere = [this] {
        m_received += m_socket.readAll();
        return holdsMessage() || m_socket.state() == QAbstractSocket::UnconnectedState;
    };
    if (!QTest::qWaitFor(isThere, kPatienceMs) || !holdsMessage())
        return platform::Error{QStringLiteral("the browser does not answer: ") +
                               m_socket.errorString()};
    const Frame frame = frameOf(m_received);
    const QJsonDocument document =
        QJsonDocument::fromJson(m_received.mid(frame.start, frame.length));
    m_received.remove(0, frame.start + frame.length);
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

bool Marionette::holdsMessage() const
{
    const Frame frame = frameOf(m_received);
    return frame.length >= 0 && m_received.size() >= frame.start + frame.length;
}

} // namespace support
