// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/request_body.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace service {

namespace {

constexpr std::size_t kPieceOfAFile = 256UL << 10U;
/// Beyond it a body is not made room for in advance: the client may never send it.
constexpr std::uint64_t kSmall = 64UL << 10U;
constexpr std::size_t kPadding = 64; // of a parser

} // namespace

RequestBody::RequestBody(BodyRoom& room, std::uint64_t limit)
    : m_room(room)
    , m_memory(limit > room.inMemory ? room.memoryOfLong : room.memory)
    , m_onDisk(room.files)
    , m_mayUseFile(limit > room.inMemory)
{
    if (limit <= kSmall)
        m_text.reserve(limit + kPadding); // a password leaves no copies by growing
}

RequestBody::~RequestBody()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool RequestBody::goesToDisk(std::size_t bytes) const
{
    // In doubt yes: memory that is short is seen by append() only.
    return m_mayUseFile && (m_file >= 0 || m_size + bytes > m_room.inMemory / 8);
}

bool RequestBody::append(std::string_view piece)
{
    if (m_file < 0 && m_text.size() + piece.size() <= m_room.inMemory &&
        m_memory.grow(piece.size())) {
        m_text += piece;
        m_size += piece.size();
        return true;
    }
    if (!m_mayUseFile || (m_file < 0 && !moveToFile()))
        return false;
    m_size += piece.size();
    return write(piece);
}

std::string_view RequestBody::piece(std::uint64_t offset)
{
    if (offset >= m_size)
        return {};
    if (m_file < 0)
        return std::string_view(m_text).substr(offset);
    m_text.resize(kPieceOfAFile);
    ssize_t count = -1;
    do
        count = ::pread(m_file, m_text.data(), m_text.size(), static_cast<off_t>(offset));
    while (count < 0 && errno == EINTR);
    if (count <= 0)
        throw std::system_error(errno, std::generic_category(), "reading a body");
    return {m_text.data(), static_cast<std::size_t>(count)};
}

std::string RequestBody::takeText()
{
    return std::exchange(m_text, std::string());
}

bool RequestBody::moveToFile()
{
    std::string name = m_room.folder + "/velomira-body-XXXXXX";
    m_file = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_file < 0)
        return false;
    ::unlink(name.c_str());
    const bool written = write(m_text);
    m_text = std::string(); // with its memory
    m_memory.giveBack();
    return written;
}

bool RequestBody::write(std::string_view piece)
{
    if (!m_onDisk.grow(piece.size()))
        return false;
    while (!piece.empty()) {
        const ssize_t count = ::write(m_file, piece.data(), piece.size());
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            piece.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace service
