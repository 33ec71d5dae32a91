// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_ipc.h"

#include <algorithm>
#include <utility>

namespace platform::wayland {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kShortestPause(250);
constexpr milliseconds kLongestPause = std::chrono::minutes(5);

/// A connection that lasted as long was a good one.
constexpr milliseconds kGoodTime = std::chrono::minutes(1);

constexpr qint64 kPieceSize = 65536;

} // namespace

SwayIpc::SwayIpc(QString path)
    : m_path(std::move(path))
    , m_pause(kShortestPause)
{
    m_socket.setReadBufferSize(kPieceSize);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &SwayIpc::connectToSway);
    connect(&m_socket, &QLocalSocket::connected, this, &SwayIpc::greet);
    connect(&m_socket, &QLocalSocket::readyRead, this, &SwayIpc::readSocket);
    // Of the end of a connection as of one that cannot be made.
    connect(&m_socket, &QLocalSocket::stateChanged, this, &SwayIpc::noteEnd);
    connectToSway();
}

SwayIpc::~SwayIpc()
{
    // Its end is no news any more.
    m_socket.disconnect(this);
}

void SwayIpc::connectToSway()
{
    m_connected.invalidate();
    m_frames = {};
    m_socket.connectToServer(m_path);
}

void SwayIpc::greet()
{
    m_connected.start();
    m_focus.start();
    m_socket.write(SwayFrames::frame(SwayMessageType::Subscribe, R"(["window","workspace"])"));
    askIfNeeded();
}

void SwayIpc::readSocket()
{
    bool hasChanged = false;
    m_frames.append(m_socket.read(kPieceSize));
    while (const auto message = m_frames.next())
        hasChanged |= m_focus.take(*message);
    if (hasChanged)
        Q_EMIT focusChanged();
    askIfNeeded();
    if (m_frames.isBroken())
        m_socket.abort();
}

void SwayIpc::askIfNeeded()
{
    if (m_focus.takeQuestion())
        m_socket.write(SwayFrames::frame(SwayMessageType::GetTree, {}));
}

void SwayIpc::noteEnd()
{
    if (m_socket.state() != QLocalSocket::UnconnectedState)
        return;
    if (m_connected.isValid() && m_connected.hasExpired(kGoodTime.count()))
        m_pause = kShortestPause;
    m_retry.start(m_pause);
    m_pause = std::min(m_pause * 2, kLongestPause);
    if (m_focus.focused() != nullptr) {
        m_focus.start();
        Q_EMIT focusChanged();
    }
}

} // namespace platform::wayland
