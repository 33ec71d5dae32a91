// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/password_input.h"

#include <cstdio>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace service {

namespace {

/// No echo at the terminal while it lives.
class QuietTerminal final
{
public:
    QuietTerminal()
        : m_isTerminal(::tcgetattr(STDIN_FILENO, &m_before) == 0)
    {
        if (!m_isTerminal)
            return;
        std::fputs("Password: ", stderr);
        termios quiet = m_before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }

    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

    ~QuietTerminal()
    {
        if (!m_isTerminal)
            return;
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        std::fputs("\n", stderr);
    }

private:
    termios m_before = {};
    bool m_isTerminal;
};

} // namespace

Result<std::string> readPassword()
{
    const QuietTerminal quiet;
    std::string line;
    std::getline(std::cin, line);
    if (line.ends_with('\r'))
        line.pop_back();
    if (line.empty())
        return Error{"the password, a line on standard input, is missing"};
    return line;
}

} // namespace service
