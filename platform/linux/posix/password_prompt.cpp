// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/password_prompt.h"

#include "platform/linux/posix/file_descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace platform::posix {

namespace {

constexpr std::size_t kLongestPassword = 4096;
constexpr char kInterrupt = 0x03;  // Ctrl+C
constexpr char kEndOfInput = 0x04; // Ctrl+D
constexpr char kBackspace = 0x08;
constexpr char kKillLine = 0x15; // Ctrl+U
constexpr char kDelete = 0x7F;

/// A terminal that hands over every key at once and shows none, until the end of this object.
class SilentTerminal final
{
public:
    explicit SilentTerminal(const char* prompt)
        : m_isTerminal(tcgetattr(STDIN_FILENO, &m_before) == 0)
    {
        if (!m_isTerminal)
            return;
        std::fputs(prompt, stderr);
        termios silent = m_before;
        // Without signals: one that ended the process here would leave the terminal silent.
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }

    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    ~SilentTerminal()
    {
        if (!m_isTerminal)
            return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        std::fputc('\n', stderr);
    }

    [[nodiscard]] bool isTerminal() const { return m_isTerminal; }

private:
    termios m_before{};
    bool m_isTerminal;
};

/// Takes the last character, which may have several bytes, from UTF-8 text.
void eraseLast(std::string& line)
{
    while (!line.empty() && (static_cast<unsigned char>(line.back()) & 0xC0U) == 0x80U)
        line.pop_back();
    if (!line.empty())
        line.pop_back();
}

/// True when `c` is a key that edits the line, which it then has done.
bool edits(char c, std::string& line)
{
    if (c == kBackspace || c == kDelete)
        eraseLast(line);
    else if (c == kKillLine)
        line.clear();
    else
        return false;
    return true;
}

Outcome readLine(bool isTerminal, std::string& line)
{
    for (;;) {
        char c = 0;
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return Error{QStringLiteral("cannot read the password: ") + systemError().text};
        if (count == 0 || c == '\n' || (isTerminal && (c == '\r' || c == kEndOfInput)))
            return success();
        if (isTerminal && c == kInterrupt)
            return Error{QStringLiteral("interrupted")};
        if (isTerminal && edits(c, line))
            continue;
        if (line.size() == kLongestPassword)
            return Error{QStringLiteral("the password is too long")};
        line += c;
    }
}

} // namespace

Result<QString> readPassword(const char* prompt)
{
    const SilentTerminal terminal(prompt);
    std::string line;
    line.reserve(kLongestPassword); // so that no copies are left behind
    const Outcome outcome = readLine(terminal.isTerminal(), line);
    const QString password = QString::fromStdString(line);
    std::ranges::fill(line, '\0');
    if (!outcome)
        return outcome.error();
    if (password.isEmpty())
        return Error{QStringLiteral("there is no password on standard input")};
    return password;
}

} // namespace platform::posix
