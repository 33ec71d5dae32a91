// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/byte_budget.h"
#include "service/result.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

/// What all bodies have for themselves.
struct BodyRoom
{
    ByteBudget memory; ///< of those of routes that take short ones only
    ByteBudget memoryOfLong;
    ByteBudget files;
    /// Where temporary files are made.
    std::string folder;
    std::size_t inMemory;
    /// What each short one has beside `memory`, so that nobody can use up what it needs.
    std::size_t ofEachShort;
};

/// Whether a temporary file can be made in `folder`. May block on the disk.
[[nodiscard]] Outcome checkFolder(const std::string& folder);

/// The body of one request: in memory, or, where it is long or memory is short, in a temporary file
/// that has no name any more. In memory it is overwritten at its end, since it may hold a password.
/// One thread at a time.
class RequestBody final
{
public:
    /// For at most `limit` bytes; one of at most room.inMemory is never written to a file.
    RequestBody(BodyRoom& room, std::uint64_t limit);
    RequestBody(const RequestBody&) = delete;
    RequestBody& operator=(const RequestBody&) = delete;
    ~RequestBody();

    /// Appends `piece` in memory; false when it does not fit there, and nothing has changed then.
    /// Does not block.
    [[nodiscard]] bool appendInMemory(std::string_view piece);

    /// Appends it in a file, where everything goes from then on; false when there is no room, and
    /// then nothing can be done with the body any more. Only where mayUseFile(). May block on the
    /// disk. Throws std::system_error when the file cannot be made or written.
    [[nodiscard]] bool appendInFile(std::string_view piece);

    [[nodiscard]] bool mayUseFile() const { return m_mayUseFile; }

    /// Then its end may block on the disk.
    [[nodiscard]] bool isInFile() const { return m_file >= 0; }

    [[nodiscard]] std::uint64_t size() const { return m_size; }

    /// What stands at `offset`, as much as is at hand, valid until the next call; empty at the end.
    /// May block on the disk. Throws std::system_error when the file cannot be read.
    [[nodiscard]] std::string_view piece(std::uint64_t offset);

    /// The whole, which must be in memory. Its capacity has room for the padding of a parser.
    [[nodiscard]] std::string takeText();

private:
    void makeRoom(std::size_t bytes);
    [[nodiscard]] bool moveToFile();
    [[nodiscard]] bool write(std::string_view piece);

    BodyRoom& m_room;
    ByteBudget::Share m_memory;
    ByteBudget::Share m_onDisk;
    bool m_mayUseFile;
    std::size_t m_withoutShare; ///< so much of it needs no share of the memory
    std::uint64_t m_size = 0;
    std::string m_text; ///< the body, or a part of the file
    int m_file = -1;
};

} // namespace service
