// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/wayland/sway_frames.h"
#include "platform/linux/wayland/sway_messages.h"

#include <QLocalSocket>
#include <QObject>
#include <QString>

#include <optional>

namespace platform::wayland {

/// Asks sway over its socket for the window that has the focus, for the process that the protocols
/// of Wayland do not know. Between questions there is no connection, and nothing is told.
/// Main thread, with an event loop; never waits.
class SwayIpc final : public QObject
{
    Q_OBJECT

public:
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
    SwayFrames m_frames;
    SwayMessages m_messages;
};

} // namespace platform::wayland
