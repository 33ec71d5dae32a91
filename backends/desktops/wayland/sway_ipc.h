// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QLocalSocket>
#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform::wayland {

/// A window as sway tells of it.
struct SwayWindow
{
    std::int32_t processIdentifier = 0;
    std::string appId; ///< The class for an X program; empty when it has neither.

    bool operator==(const SwayWindow&) const = default;
};

/// The window that has the focus in sway's answer to the question for the tree, JSON. None when the
/// focus is on something else, such as an empty workspace, and where anything is not as it should
/// be; but what programs call themselves sway hands on even when it is no valid UTF-8. Any thread.
[[nodiscard]] std::optional<SwayWindow> focusedSwayWindow(std::string_view tree);

/// Asks sway over its socket for the window that has the focus, for the process that the protocols
/// of Wayland do not know. Between questions there is no connection, and nothing is told.
/// A message is the text "i3-ipc", the payload's length and the type, each 32 bits in the machine's
/// byte order, and the payload.
/// Main thread, with an event loop; never waits.
class SwayIpc final : public QObject
{
    Q_OBJECT

public:
    /// No desktop needs as much: a hundred windows are a quarter of a megabyte.
    static constexpr std::uint32_t kLongestPayload = 4U << 20U;

    /// To be asked at the socket `path`.
    explicit SwayIpc(QString path);
    SwayIpc(const SwayIpc&) = delete;
    SwayIpc& operator=(const SwayIpc&) = delete;
    ~SwayIpc() override;

    /// Asks; a question that is still open is dropped.
    void ask();

Q_SIGNALS:
    /// The window that had the focus when sway answered; none when no window had. Not when sway
    /// cannot be asked or does not answer.
    void answered(const std::optional<platform::wayland::SwayWindow>& focused);

private:
    void readSocket();

    QString m_path;
    QLocalSocket m_socket;
    QByteArray m_bytes; // of the answer, so far
};

} // namespace platform::wayland
