// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/byte_budget.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// What all bodies have for themselves.
struct BodyRoom
{
    ByteBudget memory;
    ByteBudget memoryOfLong; ///< of those that may go to files
    ByteBudget files;
    /// Where temporary files are made.
    std::string folder;
    std::size_t inMemory;
};

/// The body of one request: in memory, or, where it is long or memory is short, in a temporary file
/// that has no name any more. One thread at a time.
class RequestBody final
{
public:
    /// For at most `limit` bytes; one of at most room.inMemory is never written to a file.
    RequestBody(BodyRoom& room, std::uint64_t limit);
    RequestBody(const RequestBody&) = delete;
    RequestBody& operator=(const RequestBody&) = delete;
    ~RequestBody();

    /// Whether append() of so many bytes writes to the disk, and may block on it.
    [[nodiscard]] bool goesToDisk(std::size_t bytes) const;

    /// False when there is no room for it; then nothing can be done with the body any more.
    [[nodiscard]] bool append(std::string_view piece);

    [[nodiscard]] std::uint64_t size() const { return m_size; }

    /// What stands at `offset`, as much as is at hand, valid until the next call; empty at the end.
    /// May block on the disk. Throws std::system_error when the file cannot be read.
    [[nodiscard]] std::string_view piece(std::uint64_t offset);

    /// The whole, which must be in memory. Its capacity has room for the padding of a parser where
    /// the limit is small.
    [[nodiscard]] std::string takeText();

private:
    [[nodiscard]] bool moveToFile();
    [[nodiscard]] bool write(std::string_view piece);

    BodyRoom& m_room;
    ByteBudget::Share m_memory;
    ByteBudget::Share m_onDisk;
    bool m_mayUseFile;
    std::uint64_t m_size = 0;
    std::string m_text; ///< the body, or a part of the file
    int m_file = -1;
};

} // namespace service
