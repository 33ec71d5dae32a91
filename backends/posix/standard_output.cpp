// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/standard_output.h"

#include "base/terminal_text.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {

namespace {

constexpr QLatin1StringView kOfWindows("Tick: ");

/// True when PIPE_BUF bytes can be written without waiting for a reader.
bool hasRoom(int descriptor)
{
    pollfd poll{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return ::poll(&poll, 1, 0) == 1 && (poll.revents & POLLOUT) != 0;
}

} // namespace

OwnStandardOutput::OwnStandardOutput()
    : m_output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    if (m_output.isOpen())
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

OwnStandardOutput::~OwnStandardOutput()
{
    if (m_output.isOpen())
        ::dup2(m_output.get(), STDOUT_FILENO);
}

bool isJournalStream(int descriptor, std::string_view named)
{
    struct stat stream = {};
    return ::fstat(descriptor, &stream) == 0 &&
           named == std::to_string(stream.st_dev) + ':' + std::to_string(stream.st_ino);
}

StdoutDiagnostics::StdoutDiagnostics(int descriptor, Sink sink)
    : m_descriptor(descriptor)
    , m_sink(sink)
{
}

void StdoutDiagnostics::line(QStringView text)
{
    if (m_sink == Sink::Journal && text.startsWith(kOfWindows))
        return;
    const QByteArray bytes = bytesOf(text);
    // One write for a line of ordinary length, so that lines of several threads do not mix.
    for (const char* at = bytes.constData(); at != bytes.constEnd();) {
        if (!hasRoom(m_descriptor))
            return;
        const auto left = static_cast<std::size_t>(bytes.constEnd() - at);
        const ssize_t written = ::write(m_descriptor, at, std::min<std::size_t>(left, PIPE_BUF));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        at += written;
    }
}

/// `text` as it is written; that of the last line is kept, because most are said again and again.
QByteArray StdoutDiagnostics::bytesOf(QStringView text)
{
    const std::scoped_lock lock(m_mutex);
    if (m_lastBytes.isEmpty() || text != m_lastText) {
        m_lastText = text.toString();
        m_lastBytes = terminalText(text) + '\n';
    }
    return m_lastBytes;
}

} // namespace platform::posix
