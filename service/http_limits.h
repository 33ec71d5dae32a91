// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace service {

/// What a client may take of the service.
struct HttpLimits
{
    std::size_t headerBytes = 32UL << 10U;
    std::size_t signInBytes = 64UL << 10U;
    std::size_t uploadBytes = 64UL << 20U;
    /// Of all bodies that are being received or worked on.
    std::size_t allBodiesBytes = 512UL << 20U;

    /// From the first byte of a request to the end of its header.
    std::chrono::milliseconds headerTime = std::chrono::seconds(10);
    /// A body may take this time, and beyond it a second for every so many bytes that have come.
    std::chrono::milliseconds bodyTime = std::chrono::seconds(30);
    std::size_t bodyBytesPerSecond = 4096;
    /// How long a client may not take a byte of the answer.
    std::chrono::milliseconds writeTime = std::chrono::seconds(10);
    /// How long a connection is kept for the next request.
    std::chrono::milliseconds idleTime = std::chrono::seconds(15);
    /// How long what the client still sends is read away when the answer did not wait for it, and
    /// beyond it a second for every so many bytes that have come.
    std::chrono::milliseconds lingerTime = std::chrono::seconds(5);
    std::size_t lingerBytesPerSecond = 64UL << 10U;
    /// However much has come: others want the thread.
    std::chrono::milliseconds longestLinger = std::chrono::seconds(30);
    /// The same for a client that sends nothing more.
    std::chrono::milliseconds lingerSilence = std::chrono::seconds(5);

    int threads = 64;
    std::size_t waitingConnections = 256;
    /// After the request to end, how long what is in hand may take.
    std::chrono::milliseconds graceTime = std::chrono::seconds(10);
};

} // namespace service
