// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/password_prompt.h"

#include <cerrno>
#include <cstdio>
#include <optional>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace terminal {

namespace {

constexpr char kInterrupt = 0x03;  // Ctrl+C
constexpr char kEndOfInput = 0x04; // Ctrl+D
constexpr char kBackspace = 0x08;
constexpr char kKillLine = 0x15; // Ctrl+U
constexpr char kDelete = 0x7F;

/// A terminal that hands over every key at once and shows none, until the end of this object.
class SilentTerminal final
{
public:
    SilentTerminal()
        : m_isTerminal(tcgetattr(STDIN_FILENO, &m_before) == 0)
    {
        if (!m_isTerminal)
            return;
        termios silent = m_before;
        // Without signals: one that ended the process here would leave the terminal silent.
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }

    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    ~SilentTerminal()
    {
        if (m_isTerminal)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
    }

    [[nodiscard]] bool isTerminal() const { return m_isTerminal; }

private:
    termios m_before{};
    bool m_isTerminal;
};

/// True when `c` is a key that edits the line, which it then has done.
bool edits(char c, Secret& line)
{
    if (c == kBackspace || c == kDelete)
        line.eraseLast();
    else if (c == kKillLine)
        line.clear();
    else
        return false;
    return true;
}

/// Reads a line without its end; what is wrong, if anything.
std::optional<std::string> readLine(bool isTerminal, Secret& line)
{
    for (;;) {
        char c = 0;
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return "cannot read the password: " + std::system_category().message(errno);
        if (count == 0 || c == '\n' || (isTerminal && (c == '\r' || c == kEndOfInput)))
            break;
        if (isTerminal && c == kInterrupt)
            return "interrupted";
        if (isTerminal && edits(c, line))
            continue;
        if (!line.append(c))
            return "the password is too long";
    }
    if (line.view().ends_with('\r'))
        line.eraseLast(); // of a file from elsewhere
    if (line.isEmpty())
        return "there is no password on standard input";
    return std::nullopt;
}

/// The same after a question, at a terminal.
std::optional<std::string> ask(bool isTerminal, const char* prompt, Secret& line)
{
    if (isTerminal)
        std::fputs(prompt, stderr);
    auto fault = readLine(isTerminal, line);
    if (isTerminal)
        std::fputc('\n', stderr);
    return fault;
}

} // namespace

PasswordAnswer readPassword(const char* prompt, Ask times)
{
    const SilentTerminal terminal;
    Secret password;
    if (auto fault = ask(terminal.isTerminal(), prompt, password))
        return *std::move(fault);
    if (times == Ask::Once || !terminal.isTerminal())
        return {std::move(password)};
    Secret again;
    if (auto fault = ask(true, "The same again: ", again))
        return *std::move(fault);
    if (again.view() != password.view())
        return "the two passwords differ";
    return {std::move(password)};
}

} // namespace terminal
