// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Any text: the reader accepts it exactly when one strict parse of the whole does, in whatever
// pieces it comes, and what it accepts survives being written and read again.
#include "activity/activity_log_json.h"
#include "tests/support/activity_samples.h"

#include <QBuffer>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kSmallWindow = 32;

std::optional<activity::ActivityList> readInPieces(const QByteArray& text)
{
    QByteArray copy = text;
    QBuffer buffer(&copy);
    if (!buffer.open(QIODevice::ReadOnly))
        std::abort();
    activity::TextPool pool;
    return activity::readActivityFile(buffer, pool, kSmallWindow);
}

std::optional<activity::ActivityList> readAtOnce(std::string_view text)
{
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    std::string padded(text);
    padded.append(activity::ActivityDecoder::padding(), ' ');
    activity::TextPool pool;
    activity::ActivityDecoder decoder(pool);
    activity::ActivityList list;
    if (!decoder.decodeArray({padded.data(), text.size()}, list))
        return std::nullopt;
    return list;
}

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const QByteArray bytes(text.data(), static_cast<qsizetype>(text.size()));
    const auto whole = samples::read(bytes);
    const auto pieces = readInPieces(bytes);
    const auto oracle = readAtOnce(text);
    require(whole.has_value() == oracle.has_value());
    require(pieces.has_value() == oracle.has_value());
    if (!whole)
        return 0;
    require(samples::records(*whole) == samples::records(*oracle));
    require(samples::records(*pieces) == samples::records(*oracle));
    const auto again = samples::read(samples::json(*whole));
    require(again && samples::records(*again) == samples::records(*whole));
    return 0;
}
