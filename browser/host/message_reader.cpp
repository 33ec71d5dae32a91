// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/message_reader.h"

#include <cstring>

namespace browser {

void MessageReader::append(std::string_view bytes)
{
    m_message = {};
    m_bytes.erase(0, m_at);
    m_at = 0;
    m_bytes.append(bytes);
}

MessageReader::State MessageReader::next()
{
    std::uint32_t length = 0;
    const std::size_t available = m_bytes.size() - m_at;
    if (available < sizeof length)
        return State::Incomplete;
    std::memcpy(&length, m_bytes.data() + m_at, sizeof length);
    if (length > kLongest)
        return State::TooLong;
    if (available - sizeof length < length)
        return State::Incomplete;
    m_message = std::string_view(m_bytes).substr(m_at + sizeof length, length);
    m_at += sizeof length + length;
    return State::Message;
}

} // namespace browser
