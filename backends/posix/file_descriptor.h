// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace platform::posix {

/// An open file descriptor, closed with its owner.
class FileDescriptor final
{
public:
    explicit FileDescriptor(int descriptor = -1)
        : m_descriptor(descriptor)
    {
    }

    FileDescriptor(FileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }

    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    ~FileDescriptor()
    {
        if (isOpen())
            ::close(m_descriptor);
    }

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }

    [[nodiscard]] int get() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// The system's reason for the call that has just failed on this thread (errno).
[[nodiscard]] inline Error systemError()
{
    return {QString::fromLocal8Bit(std::generic_category().message(errno))};
}

} // namespace platform::posix
