// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/journal_stream.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <sys/stat.h>
#include <system_error>

namespace platform::posix {

namespace {

std::optional<std::uint64_t> numberIn(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

} // namespace

bool isJournalStream(int descriptor, std::string_view named)
{
    const std::size_t colon = named.find(':');
    if (colon == std::string_view::npos)
        return false;
    const auto device = numberIn(named.substr(0, colon));
    const auto inode = numberIn(named.substr(colon + 1));
    struct stat stream = {};
    return device && inode && ::fstat(descriptor, &stream) == 0 && stream.st_dev == *device &&
           stream.st_ino == *inode;
}

} // namespace platform::posix
