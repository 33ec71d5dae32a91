// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

namespace platform::desktop {

/// A connection to a display server of our own, independent of the toolkit's, so that it works
/// without a window and its loss does not end the process. Its end is told by the socket itself, at
/// once, whether anybody reads from it or not.
/// Main thread, with an event loop.
class DisplayConnection : public QObject
{
    Q_OBJECT

public:
    /// True from the moment that the server is known to be gone, for good.
    [[nodiscard]] bool isLost() const { return m_isLost; }

Q_SIGNALS:
    /// The server has gone; `reason` is one phrase for a person. Once, from the main loop and
    /// never from inside a call. Nothing is answered from then on.
    void lost(const QString& reason);

protected:
    /// `server` is what `socket` leads to: "the X server :1".
    DisplayConnection(int socket, const QString& server);

    /// For who finds out before the socket has told.
    void noteLoss();

private:
    QString m_reason;
    bool m_isLost = false;
    posix::FileDescriptor m_hangUp; // readable when the server has closed the connection
    QSocketNotifier m_notifier;
};

/// Waits until there is something to read from `socket` or the other side has closed it; false when
/// neither comes before `deadline`.
[[nodiscard]] bool waitForData(int socket, const QDeadlineTimer& deadline);

} // namespace platform::desktop
