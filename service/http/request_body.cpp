// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/request_body.h"

#include "base/wipe.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace service {

namespace {

constexpr std::size_t kPieceOfAFile = 256UL << 10U;
/// Routes with a higher limit take long bodies.
constexpr std::uint64_t kLongestShort = 64UL << 10U;
constexpr std::size_t kPadding = 64; // of a parser

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// A file in `folder` that has no name any more.
int unnamedFile(const std::string& folder)
{
    std::string name = folder + "/velomira-body-XXXXXX";
    const int file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file < 0)
        fail("making a file for a body in " + folder);
    ::unlink(name.c_str());
    return file;
}

} // namespace

Outcome checkFolder(const std::string& folder)
{
    try {
        ::close(unnamedFile(folder));
    } catch (const std::system_error& failure) {
        return Error{"cannot keep long uploads in " + folder + ": " + failure.code().message()};
    }
    return success();
}

RequestBody::RequestBody(BodyRoom& room, std::uint64_t limit)
    : m_room(room)
    , m_memory(limit > kLongestShort ? room.memoryOfLong : room.memory)
    , m_onDisk(room.files)
    , m_mayUseFile(limit > room.inMemory)
    , m_withoutShare(limit > kLongestShort ? 0 : room.ofEachShort)
{
}

RequestBody::~RequestBody()
{
    if (m_file >= 0)
        ::close(m_file);
    else
        platform::wipe(m_text);
}

bool RequestBody::appendInMemory(std::string_view piece)
{
    const std::size_t size = m_text.size() + piece.size();
    if (m_file >= 0 || size > m_room.inMemory)
        return false;
    const auto share = [this](std::size_t bytes) {
        return bytes - std::min(bytes, m_withoutShare);
    };
    if (!m_memory.grow(share(size) - share(m_text.size())))
        return false;
    makeRoom(size);
    m_text += piece;
    m_size = size;
    return true;
}

bool RequestBody::appendInFile(std::string_view piece)
{
    if ((m_file < 0 && !moveToFile()) || !write(piece))
        return false;
    m_size += piece.size();
    return true;
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
        fail("reading a body");
    return {m_text.data(), static_cast<std::size_t>(count)};
}

std::string RequestBody::takeText()
{
    return std::exchange(m_text, std::string());
}

/// By growing alone a text leaves copies of itself.
void RequestBody::makeRoom(std::size_t bytes)
{
    if (bytes + kPadding <= m_text.capacity())
        return;
    std::string larger;
    larger.reserve(std::max(bytes, 2 * m_text.size()) + kPadding);
    larger += m_text;
    platform::wipe(m_text);
    m_text = std::move(larger);
}

bool RequestBody::moveToFile()
{
    m_file = unnamedFile(m_room.folder);
    const bool written = write(m_text);
    m_text = std::string(); // with its memory
    m_memory.giveBack();
    return written;
}

/// False when the room of all files is used up.
bool RequestBody::write(std::string_view piece)
{
    if (!m_onDisk.grow(piece.size()))
        return false;
    while (!piece.empty()) {
        const ssize_t count = ::write(m_file, piece.data(), piece.size());
        if (count < 0 && errno != EINTR)
            fail("writing a body");
        if (count > 0)
            piece.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace service
