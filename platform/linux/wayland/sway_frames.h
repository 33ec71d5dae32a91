// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform::wayland {

/// Which message it is, of those that are used. Any other number may come over the wire.
// NOLINTNEXTLINE(performance-enum-size)
enum class SwayMessageType : std::uint32_t { GetTree = 4 };

/// One message, good until the next call.
struct SwayMessage
{
    SwayMessageType type{};
    std::string_view payload;
};

/// Cuts what comes over sway's socket into messages: the text "i3-ipc", length and type in the
/// machine's byte order, then that many bytes.
/// One thread at a time.
class SwayFrames final
{
public:
    /// No desktop needs as much: a hundred windows are a quarter of a megabyte.
    static constexpr std::uint32_t kLongestPayload = 4U << 20U;

    /// A message to be sent.
    [[nodiscard]] static QByteArray frame(SwayMessageType type, QByteArrayView payload);

    /// What has arrived, in pieces of any size.
    void append(QByteArrayView bytes);

    /// The next complete message; none when there is none yet, or never will be.
    [[nodiscard]] std::optional<SwayMessage> next();

    /// What came is no such message or too long. Nothing comes out any more.
    [[nodiscard]] bool isBroken() const { return m_isBroken; }

private:
    QByteArray m_bytes;
    qsizetype m_taken = 0; // from the front of them
    bool m_isBroken = false;
};

} // namespace platform::wayland
