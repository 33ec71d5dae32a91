// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/text_pool.h"

namespace activity {

namespace {

constexpr std::int64_t kTextsATime = 16;
constexpr std::int64_t kTextsForANewOne = 2;
constexpr std::size_t kBytesOfAText = 64;
constexpr std::size_t kSmallTable = 16; // buckets, which cost less than making them fewer

} // namespace

std::size_t TextPool::Hash::operator()(std::string_view text) const
{
    return std::hash<std::string_view>{}(text);
}

std::size_t TextPool::Hash::operator()(const SharedText& text) const
{
    return (*this)(text.view());
}

SharedText TextPool::intern(std::string_view text)
{
    Shard& shard = shardOf(text);
    if (const auto found = shard.find(text); found != shard.end())
        return *found;
    makeRoomFor(text.size());
    return *shard.emplace(text).first;
}

SharedText TextPool::intern(const SharedText& text)
{
    Shard& shard = shardOf(text.view());
    if (const auto found = shard.find(text); found != shard.end())
        return *found;
    makeRoomFor(text.view().size());
    return *shard.insert(text).first;
}

void TextPool::sweepSome()
{
    sweep(kTextsATime);
}

void TextPool::sweepPart()
{
    Shard& shard = m_shards[m_next];
    std::erase_if(shard, [](const SharedText& text) { return text.isSoleOwner(); });
    if (shard.bucket_count() > kSmallTable && shard.bucket_count() > 4 * shard.size())
        shard.rehash(0); // as few as there need to be
    m_next = (m_next + 1) % kParts;
}

std::size_t TextPool::size() const
{
    std::size_t sum = 0;
    for (const Shard& shard : m_shards)
        sum += shard.size();
    return sum;
}

TextPool::Shard& TextPool::shardOf(std::string_view text)
{
    // The upper bits: the sets use the lower ones for their buckets.
    return m_shards[(Hash{}(text) >> 48U) % kParts];
}

/// A text that comes pays for looking at others, so that what is not needed any more grows neither
/// in number nor in bytes beyond a share of what is.
void TextPool::makeRoomFor(std::size_t bytes)
{
    sweep(kTextsForANewOne + static_cast<std::int64_t>(bytes / kBytesOfAText));
}

void TextPool::sweep(std::int64_t texts)
{
    m_credit += texts;
    while (m_credit > 0) {
        m_credit -= 1 + static_cast<std::int64_t>(m_shards[m_next].size());
        sweepPart();
    }
}

} // namespace activity
