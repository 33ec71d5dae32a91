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
    /// Each costs more memory than its bytes.
    std::size_t headerFields = 64;
    std::size_t targetBytes = 8UL << 10U;
    /// A longer body goes to a temporary file, where its route takes longer ones at all.
    std::size_t bodyInMemory = 8UL << 20U;
    /// Of each short body (of a route that takes at most 64 KiB) so much has its place whatever
    /// others send, so that no unfinished ones keep anybody from signing in. The bound on
    /// connections bounds it.
    std::size_t ofEachShortBody = 4UL << 10U;
    /// What all short ones in hand have beyond that, and what the others have: where these may be
    /// long, there are files when that memory is used up.
    std::size_t allBodiesInMemory = 64UL << 20U;
    std::size_t allLongBodiesInMemory = 64UL << 20U;
    std::size_t allBodiesInFiles = 2048UL << 20U;

    /// What all requests in hand may have beyond the first 4 KiB of each connection's buffer, with
    /// what comes of it: where it is used up bodies come in smaller pieces, and who needs it for a
    /// header is put off.
    std::size_t allBuffers = 128UL << 20U;

    /// From the first byte of a request to the end of its header, whatever comes meanwhile.
    std::chrono::milliseconds headerTime = std::chrono::seconds(10);
    /// From there to the end of its body, and a second more for every so many bytes that it
    /// announces. What comes meanwhile prolongs nothing.
    std::chrono::milliseconds bodyTime = std::chrono::seconds(30);
    std::size_t bodyBytesPerSecond = 16384;
    /// How long a client may take for the answer, prolonged in the same way.
    std::chrono::milliseconds writeTime = std::chrono::seconds(30);
    /// How long a connection is kept for the next request.
    std::chrono::milliseconds idleTime = std::chrono::seconds(60);
    /// How long what the client still sends is read away when the answer did not wait for it, and
    /// beyond it a second for every so many bytes that have come.
    std::chrono::milliseconds lingerTime = std::chrono::seconds(5);
    std::size_t lingerBytesPerSecond = 64UL << 10U;
    /// Never longer than this.
    std::chrono::milliseconds longestLinger = std::chrono::seconds(30);
    /// The same for a client that sends nothing more.
    std::chrono::milliseconds lingerSilence = std::chrono::seconds(5);

    std::size_t connections = 16384;
    /// Of one client's address (IPv6: its first 64 bits); 0 for no bound.
    std::size_t connectionsOfAnAddress = 0;
    /// Threads that carry connections, and those that requests are dealt with on.
    int threads = 2;
    int workers = 32;
    /// The same for routes that are dealt with apart.
    int workersApart = 8;
    /// Threads that find out whose requests these are, so that this waits for no other work.
    int gatekeepers = 4;
    /// So many requests for each of these threads may wait for one; the others are put off.
    std::size_t waitingForAWorker = 8;
    std::size_t waitingForAGatekeeper = 64;
    /// After the request to end, how long what is in hand may take.
    std::chrono::milliseconds graceTime = std::chrono::seconds(10);
};

} // namespace service
