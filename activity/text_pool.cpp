// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/text_pool.h"

#include <algorithm>
#include <functional>

namespace activity {

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
    if (const auto found = shard.texts.find(text); found != shard.texts.end())
        return *found;
    sweepIfDue(shard);
    return *shard.texts.emplace(text).first;
}

SharedText TextPool::intern(const SharedText& text)
{
    Shard& shard = shardOf(text.view());
    if (const auto found = shard.texts.find(text); found != shard.texts.end())
        return *found;
    sweepIfDue(shard);
    return *shard.texts.insert(text).first;
}

std::size_t TextPool::size() const
{
    std::size_t sum = 0;
    for (const Shard& shard : m_shards)
        sum += shard.texts.size();
    return sum;
}

TextPool::Shard& TextPool::shardOf(std::string_view text)
{
    // The upper bits: the sets use the lower ones for their buckets.
    return m_shards[(Hash{}(text) >> 48U) % kShards];
}

void TextPool::sweepIfDue(Shard& shard)
{
    if (shard.texts.size() < shard.sweepAt)
        return;
    std::erase_if(shard.texts, [](const SharedText& text) { return text.isSoleOwner(); });
    shard.sweepAt = std::max<std::size_t>(32, 2 * shard.texts.size());
}

} // namespace activity
