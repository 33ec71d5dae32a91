// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/file_descriptor.h"

#include <cerrno>
#include <system_error>

namespace platform::posix {

Error systemError()
{
    return {QString::fromLocal8Bit(std::generic_category().message(errno))};
}

} // namespace platform::posix
