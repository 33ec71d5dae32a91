// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/wayland/sway_focus.h"
#include "platform/linux/wayland/sway_frames.h"

#include <QElapsedTimer>
#include <QLocalSocket>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>

namespace platform::wayland {

/// The window that has the focus as sway tells over its socket, for the process that the protocols
/// of Wayland do not know. Connects again when the connection ends, less and less often.
/// Main thread, with an event loop; never waits.
class SwayIpc final : public QObject
{
    Q_OBJECT

public:
    /// Connects to the socket `path`.
    explicit SwayIpc(QString path);
    SwayIpc(const SwayIpc&) = delete;
    SwayIpc& operator=(const SwayIpc&) = delete;
    ~SwayIpc() override;

    /// The window that has the focus; null when none has, and while sway does not tell. Good until
    /// the next focusChanged().
    [[nodiscard]] const SwayWindow* focused() const { return m_focus.focused(); }

Q_SIGNALS:
    /// focused() or what it tells is another one now.
    void focusChanged();

private:
    void connectToSway();
    void greet();
    void readSocket();
    void askIfNeeded();
    void noteEnd();

    QString m_path;
    QLocalSocket m_socket;
    SwayFrames m_frames;
    SwayFocus m_focus;
    QTimer m_retry;
    QElapsedTimer m_connected;
    std::chrono::milliseconds m_pause;
};

} // namespace platform::wayland
