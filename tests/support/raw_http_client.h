// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace support {

/// An answer as it came over the wire.
struct RawAnswer
{
    int status = 0;
    QByteArray header; ///< with the status line, without the empty line
    QByteArray body;

    /// The value of a field of the header; empty when there is none.
    [[nodiscard]] QByteArray field(const QByteArray& name) const;
};

/// A connection to a web server on this machine that sends any bytes, good or bad.
/// One thread. Calls block, for half a minute at most.
class RawHttpClient final
{
public:
    /// `window`: about so many bytes of what comes wait on our side until they are taken; 0 for as
    /// many as is usual.
    explicit RawHttpClient(int port, int window = 0);
    RawHttpClient(const RawHttpClient&) = delete;
    RawHttpClient& operator=(const RawHttpClient&) = delete;
    ~RawHttpClient();

    /// Sends all of `bytes`; false when the other end does not take them.
    [[nodiscard]] bool send(const QByteArray& bytes);

    /// The end of what we send.
    void finishSending();

    /// Ends the connection at once, without taking what still comes.
    void reset();

    /// Waits for an answer; none when the connection ends or nothing comes.
    [[nodiscard]] std::optional<RawAnswer> answer();

    /// Takes so many bytes at most of what has come, without waiting; false when the connection has
    /// ended.
    bool take(qsizetype most);

    /// Waits until the server closes; false when it does not.
    [[nodiscard]] bool waitForEnd();

    /// POST `body` with these lines of the header, and the answer.
    [[nodiscard]] std::optional<RawAnswer>
    post(const QByteArray& path, const QByteArray& body, const QList<QByteArray>& header = {});

    /// What has come and is no part of an answer that was taken.
    [[nodiscard]] const QByteArray& received() const { return m_received; }

private:
    /// Reads more; false at the end.
    [[nodiscard]] bool receive();

    int m_socket;
    QByteArray m_received;
};

} // namespace support
