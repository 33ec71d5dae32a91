// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"

namespace platform::posix {

/// Standard output for this program alone: readers rely on its lines. While an object of this class
/// exists, what libraries and programs that are started write there goes to standard error.
/// Before other threads write; one at a time.
class OwnStandardOutput final
{
public:
    OwnStandardOutput();
    OwnStandardOutput(const OwnStandardOutput&) = delete;
    OwnStandardOutput& operator=(const OwnStandardOutput&) = delete;
    ~OwnStandardOutput();

    /// Where the program's own lines go, as long as this object; -1 when standard output is closed.
    [[nodiscard]] int descriptor() const { return m_output.get(); }

private:
    FileDescriptor m_output;
};

} // namespace platform::posix
