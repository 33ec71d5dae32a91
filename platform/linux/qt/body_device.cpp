// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/body_device.h"

#include <algorithm>
#include <utility>

namespace platform::qt {

BodyDevice::BodyDevice(StreamedBody body)
    : m_body(std::move(body))
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

bool BodyDevice::seek(qint64 position)
{
    if (position == pos())
        return true;
    if (position != 0 || !QIODevice::seek(position))
        return false;
    m_parts = nullptr;
    m_made.clear();
    m_given = 0;
    return true;
}

qint64 BodyDevice::readData(char* to, qint64 most)
{
    if (!m_parts)
        m_parts = m_body.begin();
    const auto wanted = static_cast<std::size_t>(most);
    if (m_given > 0) {
        m_made.erase(0, m_given);
        m_given = 0;
    }
    while (m_made.size() < wanted && m_parts(m_made)) {
    }
    m_given = std::min(m_made.size(), wanted);
    std::copy_n(m_made.data(), m_given, to);
    return static_cast<qint64>(m_given);
}

qint64 BodyDevice::writeData(const char* /*from*/, qint64 /*size*/)
{
    return -1;
}

} // namespace platform::qt
