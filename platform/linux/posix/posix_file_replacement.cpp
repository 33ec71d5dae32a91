// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/posix/posix_file_replacement.h"

#include "platform/linux/posix/spare_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::posix {

namespace {

/// Copies through our own memory: for file systems between which the kernel does not copy.
ssize_t copyThroughMemory(int from, off_t offset, int to, std::size_t bytes)
{
    std::array<char, 64UL * 1024> buffer{};
    const ssize_t read = ::pread(from, buffer.data(), std::min(bytes, buffer.size()), offset);
    return read > 0 ? ::write(to, buffer.data(), static_cast<std::size_t>(read)) : read;
}

bool kernelDoesNotCopy(int error)
{
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

} // namespace

PosixFileReplacement::PosixFileReplacement(QByteArray target,
                                           QByteArray temporary,
                                           FileDescriptor out,
                                           SpareFile& spare)
    : m_target(std::move(target))
    , m_temporary(std::move(temporary))
    , m_out(std::move(out))
    , m_spare(spare)
{
}

PosixFileReplacement::~PosixFileReplacement()
{
    if (!m_committed)
        ::unlink(m_temporary.constData());
}

bool PosixFileReplacement::shareFromCurrent(const FileIdentity& expected, std::int64_t bytes)
{
    if (!openSource(expected) || ::ioctl(m_out.get(), FICLONE, m_source.get()) != 0)
        return false;
    if (::ftruncate(m_out.get(), bytes) == 0 && ::lseek(m_out.get(), 0, SEEK_END) == bytes)
        return true;
    // Half done: start over as if nothing had been shared.
    [[maybe_unused]] const int emptied = ::ftruncate(m_out.get(), 0);
    ::lseek(m_out.get(), 0, SEEK_SET);
    return false;
}

Outcome PosixFileReplacement::copyFromCurrent(const FileIdentity& expected,
                                              std::int64_t offset,
                                              std::int64_t bytes)
{
    if (!openSource(expected))
        return sourceHasChanged();
    while (bytes > 0) {
        const auto wanted = static_cast<std::size_t>(bytes);
        off64_t from = offset;
        ssize_t copied = ::copy_file_range(m_source.get(), &from, m_out.get(), nullptr, wanted, 0);
        if (copied < 0 && kernelDoesNotCopy(errno))
            copied = copyThroughMemory(m_source.get(), offset, m_out.get(), wanted);
        if (copied < 0 && errno == EINTR)
            continue;
        if (copied < 0)
            return systemError();
        if (copied == 0) // shorter than it was
            return sourceHasChanged();
        offset += copied;
        bytes -= copied;
    }
    return success();
}

bool PosixFileReplacement::sourceChanged() const
{
    return m_sourceChanged;
}

Outcome PosixFileReplacement::append(std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = ::write(m_out.get(), content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return systemError();
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return success();
}

Result<FileIdentity> PosixFileReplacement::commit(const std::optional<FileIdentity>& expected)
{
    // What was copied counts only if nobody wrote to the source from first to last.
    if (m_source.isOpen() && !sourceIsUntouched())
        return sourceHasChanged();
    if (::fdatasync(m_out.get()) != 0)
        return systemError();
    const bool exchanged = expected && ::renameat2(AT_FDCWD,
                                                   m_temporary.constData(),
                                                   AT_FDCWD,
                                                   m_target.constData(),
                                                   RENAME_EXCHANGE) == 0;
    if (exchanged)
        m_spare.keep(m_temporary, *expected);
    else if (::rename(m_temporary.constData(), m_target.constData()) != 0)
        return systemError();
    m_committed = true;
    const std::optional<FileIdentity> identity = identityOf(m_out);
    if (!identity)
        return systemError();
    return *identity;
}

bool PosixFileReplacement::openSource(const FileIdentity& expected)
{
    if (m_source.isOpen())
        return true;
    FileDescriptor source(::open(m_target.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!source.isOpen() || identityOf(source) != expected)
        return false;
    m_source = std::move(source);
    m_expected = expected;
    return true;
}

bool PosixFileReplacement::sourceIsUntouched() const
{
    return identityOf(m_source) == m_expected;
}

Error PosixFileReplacement::sourceHasChanged()
{
    m_sourceChanged = true;
    return {QStringLiteral("another program has changed the file")};
}

} // namespace platform::posix
