// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/compression.h"

#include "base/ascii.h"

#include <zlib.h>

namespace service {

namespace {

constexpr std::size_t kWorthIt = 1024;
constexpr int kGzip = 15 + 16; // the largest window, and the frame of gzip
constexpr int kMemory = 8;
constexpr int kLevel = 5;

/// The next of a list with commas, in small letters and without blanks.
std::string nextOf(std::string_view& list)
{
    const std::size_t comma = list.find(',');
    std::string item = platform::asciiLower(list.substr(0, comma));
    std::erase_if(item, [](char c) { return c == ' ' || c == '\t'; });
    list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
    return item;
}

} // namespace

bool acceptsGzip(std::string_view acceptEncoding)
{
    while (!acceptEncoding.empty()) {
        const std::string item = nextOf(acceptEncoding);
        if (!item.starts_with("gzip"))
            continue;
        const std::string_view rest = std::string_view(item).substr(4);
        if (rest.empty())
            return true;
        // "q=0" and "q=0.000" mean not at all.
        return rest.starts_with(";q=") &&
               rest.substr(3).find_first_not_of("0.") != std::string_view::npos;
    }
    return false;
}

std::optional<std::string> compressed(std::string_view body)
{
    if (body.size() < kWorthIt)
        return std::nullopt;
    z_stream stream = {};
    if (::deflateInit2(&stream, kLevel, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    // What is not a tenth shorter is not worth the client's work; then it does not fit.
    std::string out(body.size() - body.size() / 10, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data())); // NOLINT: only read
    stream.avail_in = static_cast<uInt>(body.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int done = ::deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    ::deflateEnd(&stream);
    if (done != Z_STREAM_END)
        return std::nullopt;
    return out;
}

} // namespace service
