// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_ipc.h"

#include <utility>

namespace platform::wayland {

namespace {
constexpr qint64 kPieceSize = 65536;
} // namespace

SwayIpc::SwayIpc(QString path)
    : m_path(std::move(path))
{
    m_socket.setReadBufferSize(kPieceSize);
    connect(&m_socket, &QLocalSocket::connected, this, [this] {
        m_socket.write(SwayFrames::frame(SwayMessageType::GetTree, {}));
    });
    connect(&m_socket, &QLocalSocket::readyRead, this, &SwayIpc::readSocket);
}

SwayIpc::~SwayIpc()
{
    // Its end is no news any more.
    m_socket.disconnect(this);
}

void SwayIpc::ask()
{
    m_socket.abort();
    m_frames = {};
    m_socket.connectToServer(m_path);
}

void SwayIpc::readSocket()
{
    m_frames.append(m_socket.read(kPieceSize));
    const auto message = m_frames.next();
    if (!message && !m_frames.isBroken())
        return;
    m_socket.abort();
    if (message && message->type == SwayMessageType::GetTree)
        Q_EMIT answered(m_messages.focusedWindow(message->payload));
}

} // namespace platform::wayland
