// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/raw_http_client.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace support {

namespace {
constexpr timeval kPatience = {.tv_sec = 30, .tv_usec = 0};
}

QByteArray RawAnswer::field(const QByteArray& name) const
{
    for (const QByteArray& line : header.split('\n')) {
        if (line.toLower().startsWith(name.toLower() + ':'))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

RawHttpClient::RawHttpClient(int port, int window)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
    if (window > 0)
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // A connection that fails shows with the first send().
    static_cast<void>(
        ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

RawHttpClient::~RawHttpClient()
{
    if (m_socket >= 0)
        ::close(m_socket);
}

bool RawHttpClient::send(const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(m_socket,
                                     bytes.constData() + sent,
                                     static_cast<std::size_t>(bytes.size() - sent),
                                     MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += count;
    }
    return true;
}

void RawHttpClient::finishSending()
{
    ::shutdown(m_socket, SHUT_WR);
}

void RawHttpClient::reset()
{
    const linger atOnce = {.l_onoff = 1, .l_linger = 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    ::close(std::exchange(m_socket, -1));
}

std::optional<RawAnswer> RawHttpClient::answer()
{
    qsizetype end = -1;
    while ((end = m_received.indexOf("\r\n\r\n")) < 0) {
        if (!receive())
            return std::nullopt;
    }
    RawAnswer answer{.header = m_received.left(end), .body = {}};
    answer.status = answer.header.mid(9, 3).toInt();
    const qsizetype length = answer.field("Content-Length").toLongLong();
    while (m_received.size() < end + 4 + length) {
        if (!receive())
            return std::nullopt;
    }
    answer.body = m_received.mid(end + 4, length);
    m_received.remove(0, end + 4 + length);
    return answer;
}

bool RawHttpClient::take(qsizetype most)
{
    QByteArray bytes(most, '\0');
    const ssize_t count =
        ::recv(m_socket, bytes.data(), static_cast<std::size_t>(most), MSG_DONTWAIT);
    if (count > 0)
        m_received.append(bytes.constData(), count);
    return count > 0 || (count < 0 && errno == EAGAIN);
}

bool RawHttpClient::waitForEnd()
{
    while (receive()) {
    }
    return errno != EAGAIN;
}

std::optional<RawAnswer>
RawHttpClient::post(const QByteArray& path, const QByteArray& body, const QList<QByteArray>& header)
{
    QByteArray request = "POST " + path + " HTTP/1.1\r\nHost: localhost\r\n";
    for (const QByteArray& line : header)
        request += line + "\r\n";
    request += "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    // The answer may come although the server did not take everything.
    static_cast<void>(send(request));
    return answer();
}

bool RawHttpClient::receive()
{
    char bytes[65536];
    errno = 0;
    const ssize_t count = ::recv(m_socket, bytes, sizeof bytes, 0);
    if (count > 0)
        m_received.append(bytes, count);
    return count > 0;
}

} // namespace support
