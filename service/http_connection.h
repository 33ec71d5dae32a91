// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http_limits.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <httplib.h>
#include <string>

namespace service {

/// A client's connection with limits on what comes and how long it takes: the library would wait
/// for ever for a client that sends a byte now and then.
/// One thread.
class HttpConnection final : public httplib::Stream
{
public:
    /// What the client is expected to send.
    enum class Phase : std::uint8_t {
        Header,
        Body,
    };

    /// Uses `socket`, which stays the caller's. `stopping` becomes readable when the service ends.
    HttpConnection(int socket, int stopping, const HttpLimits& limits);
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
    ~HttpConnection() override = default;

    /// Waits for the first byte of a request, whose header begins there. False when none comes: the
    /// client has gone or is silent, the service ends, or `isWanted` says that others want the
    /// thread, which is asked several times a second.
    [[nodiscard]] bool waitForRequest(const std::function<bool()>& isWanted);

    /// From here on the body is read.
    void beginBody();

    /// Ends the connection in a way that lets the client read the answer although it is still
    /// sending: takes what comes for a while.
    void linger();

    /// Whether a read failed because the client was too slow, or its header too long.
    [[nodiscard]] bool wasTooSlow() const { return m_tooSlow; }

    [[nodiscard]] bool sentTooMuchHeader() const { return m_tooMuchHeader; }

    /// How many bytes of the body have come, with what frames them.
    [[nodiscard]] std::size_t bodyBytes() const { return m_bodyBytes; }

    /// The address of the other end.
    [[nodiscard]] const std::string& peer() const { return m_peer; }

    // httplib::Stream
    [[nodiscard]] bool is_readable() const override;
    [[nodiscard]] bool is_writable() const override;
    ssize_t read(char* data, std::size_t size) override;
    ssize_t write(const char* data, std::size_t size) override;
    void get_remote_ip_and_port(std::string& address, int& port) const override;
    void get_local_ip_and_port(std::string& address, int& port) const override;

    [[nodiscard]] socket_t socket() const override { return m_socket; }

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] Clock::time_point deadline() const;
    [[nodiscard]] ssize_t receive(Clock::time_point deadline);
    [[nodiscard]] bool waitFor(short events, Clock::time_point deadline) const;

    int m_socket;
    int m_stopping;
    const HttpLimits& m_limits;
    std::string m_peer;
    int m_port = 0;
    Phase m_phase = Phase::Header;
    Clock::time_point m_phaseBegan;
    std::size_t m_headerBytes = 0;
    std::size_t m_bodyBytes = 0;
    bool m_tooSlow = false;
    bool m_tooMuchHeader = false;
    std::array<char, 16384> m_buffer = {};
    std::size_t m_next = 0;
    std::size_t m_end = 0;
};

} // namespace service
