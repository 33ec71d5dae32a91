// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_frames.h"

#include <array>
#include <cstring>
#include <string_view>

namespace platform::wayland {

namespace {

constexpr std::string_view kMagic = "i3-ipc";
constexpr std::size_t kHeader = kMagic.size() + 2 * sizeof(std::uint32_t);

std::uint32_t numberAt(const char* bytes)
{
    std::uint32_t number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

} // namespace

QByteArray SwayFrames::frame(SwayMessageType type, QByteArrayView payload)
{
    const std::array<std::uint32_t, 2> numbers{static_cast<std::uint32_t>(payload.size()),
                                               static_cast<std::uint32_t>(type)};
    QByteArray message(kMagic.data(), static_cast<qsizetype>(kMagic.size()));
    message.append(reinterpret_cast<const char*>(numbers.data()), sizeof numbers);
    message.append(payload);
    return message;
}

void SwayFrames::append(QByteArrayView bytes)
{
    if (m_isBroken)
        return;
    m_bytes.remove(0, m_taken);
    m_taken = 0;
    m_bytes.append(bytes);
}

std::optional<SwayMessage> SwayFrames::next()
{
    const std::string_view rest(m_bytes.constData() + m_taken,
                                static_cast<std::size_t>(m_bytes.size() - m_taken));
    if (m_isBroken || rest.size() < kHeader)
        return std::nullopt;
    const std::uint32_t length = numberAt(rest.data() + kMagic.size());
    if (!rest.starts_with(kMagic) || length > kLongestPayload) {
        m_isBroken = true;
        m_bytes.clear();
        m_taken = 0;
        return std::nullopt;
    }
    if (rest.size() - kHeader < length)
        return std::nullopt;
    m_taken += static_cast<qsizetype>(kHeader + length);
    const std::uint32_t type = numberAt(rest.data() + kMagic.size() + sizeof length);
    return SwayMessage{.type = static_cast<SwayMessageType>(type),
                       .payload = rest.substr(kHeader, length)};
}

} // namespace platform::wayland
