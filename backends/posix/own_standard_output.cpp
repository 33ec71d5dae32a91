// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/own_standard_output.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform::posix {

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

} // namespace platform::posix
