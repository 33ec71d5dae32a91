// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// The end of a service manager that services tell how they are, in a test.
class NotifiedManager final
{
public:
    /// Listens at `path`, which must be short.
    explicit NotifiedManager(const QString& path)
        : m_path(path.toStdString())
        , m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy_n(m_path.begin(),
                    std::min(m_path.size(), sizeof address.sun_path - 1),
                    std::begin(address.sun_path));
        m_listens =
            ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    NotifiedManager(const NotifiedManager&) = delete;
    NotifiedManager& operator=(const NotifiedManager&) = delete;

    ~NotifiedManager()
    {
        ::close(m_socket);
        ::unlink(m_path.c_str());
    }

    [[nodiscard]] bool listens() const { return m_listens; }

    /// What it gives to a service that has to say every so often that it is alive.
    [[nodiscard]] QProcessEnvironment environment(qint64 watchdogMicroseconds) const
    {
        QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
        all.insert(QStringLiteral("NOTIFY_SOCKET"), QString::fromStdString(m_path));
        all.insert(QStringLiteral("WATCHDOG_USEC"), QString::number(watchdogMicroseconds));
        return all;
    }

    /// Everything that it was told so far.
    [[nodiscard]] const QStringList& told()
    {
        char text[1024];
        for (;;) {
            const ssize_t size = ::recv(m_socket, text, sizeof text, 0);
            if (size < 0)
                return m_told;
            m_told.append(QString::fromLatin1(text, size));
        }
    }

private:
    std::string m_path;
    int m_socket;
    bool m_listens = false;
    QStringList m_told;
};
