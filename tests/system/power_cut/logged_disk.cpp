// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A disk that remembers what it was told, in order: logged_disk IMAGE LOG MOUNTPOINT. Serves the
// bytes of IMAGE as MOUNTPOINT/disk, for a loop device, until it is unmounted. Appends to LOG each
// write and each flush: an Entry, and behind it the bytes of a write. One request after the other:
// a write that comes before a flush in the log was answered before the flush was looked at.
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fuse.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view kDisk("/disk");
constexpr std::uint32_t kWrite = 1;
constexpr std::uint32_t kFlush = 2;

struct Entry
{
    std::uint64_t nanoseconds; // CLOCK_MONOTONIC
    std::uint64_t offset;
    std::uint32_t length;
    std::uint32_t kind;
};

struct Files
{
    int image;
    int log;
};

const Files& files()
{
    return *static_cast<const Files*>(::fuse_get_context()->private_data);
}

void log(std::uint32_t kind, std::uint64_t offset, std::string_view bytes)
{
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const Entry entry{.nanoseconds = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
                                     static_cast<std::uint64_t>(now.tv_nsec),
                      .offset = offset,
                      .length = static_cast<std::uint32_t>(bytes.size()),
                      .kind = kind};
    std::string line(sizeof entry, 0);
    std::memcpy(line.data(), &entry, sizeof entry);
    line += bytes;
    if (::write(files().log, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        std::abort(); // a log with a gap proves nothing
}

int getAttributes(const char* path, struct stat* result, fuse_file_info* /*file*/)
{
    if (std::string_view(path) == "/") {
        result->st_mode = S_IFDIR | S_IRWXU;
        return 0;
    }
    if (path != kDisk)
        return -ENOENT;
    return ::fstat(files().image, result) == 0 ? 0 : -errno;
}

int open(const char* path, fuse_file_info* file)
{
    file->direct_io = 1; // nothing is kept back in memory
    return path == kDisk ? 0 : -ENOENT;
}

int read(
    const char* /*path*/, char* bytes, std::size_t size, off_t offset, fuse_file_info* /*file*/)
{
    const ssize_t got = ::pread(files().image, bytes, size, offset);
    return got >= 0 ? static_cast<int>(got) : -errno;
}

int write(const char* /*path*/,
          const char* bytes,
          std::size_t size,
          off_t offset,
          fuse_file_info* /*file*/)
{
    if (::pwrite(files().image, bytes, size, offset) != static_cast<ssize_t>(size))
        return -EIO;
    log(kWrite, static_cast<std::uint64_t>(offset), {bytes, size});
    return static_cast<int>(size);
}

int flush(const char* /*path*/, int /*dataOnly*/, fuse_file_info* /*file*/)
{
    log(kFlush, 0, {});
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    Files opened{.image = ::open(argv[1], O_RDWR | O_CLOEXEC),
                 .log =
                     ::open(argv[2], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR)};
    if (opened.image < 0 || opened.log < 0)
        return 1;
    fuse_operations operations = {};
    operations.getattr = getAttributes;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.fsync = flush;
    std::array<char, 3> foreground{"-f"};
    std::array<char, 3> oneThread{"-s"};
    std::array<char*, 5> arguments{argv[0], foreground.data(), oneThread.data(), argv[3], nullptr};
    return fuse_main(4, arguments.data(), &operations, &opened);
}
