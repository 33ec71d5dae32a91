// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_list.h"

#include <algorithm>
#include <utility>

namespace activity {

void ActivityList::append(ActivityLog log)
{
    chunkForAppend().push_back(std::move(log));
    ++m_size;
}

bool ActivityList::startsWith(const ActivityList& prefix) const
{
    if (prefix.empty())
        return true;
    if (m_size < prefix.m_size || m_first != prefix.m_first)
        return false;
    if (m_spine == prefix.m_spine)
        return true;
    return std::ranges::equal(prefix.chunks(), chunks().first(prefix.chunks().size()));
}

ActivityList ActivityList::withoutFirst(std::size_t count) const
{
    if (count >= m_size)
        return {};
    const std::size_t position = m_first + count;
    const std::size_t firstChunk = position / kChunkRecords;
    ActivityList rest = *this;
    rest.m_size = m_size - count;
    rest.m_first = position % kChunkRecords;
    if (firstChunk > 0) // a spine of its own, so that the chunks in front can be released
        rest.adoptSpine(chunks().subspan(firstChunk));
    return rest;
}

ActivityList ActivityList::without(const ActivityIds& ids) const
{
    const ActivityList& origin = ids.origin();
    ActivityList rest = startsWith(origin) ? withoutFirst(origin.size()) : *this;
    const auto named = [&ids](const ActivityLog& log) {
        return ids.contains(log.id);
    };
    if (std::ranges::none_of(rest, named))
        return rest;
    ActivityList kept;
    for (const ActivityLog& log : rest) {
        if (!named(log))
            kept.append(log);
    }
    return kept;
}

ActivityList::Chunk& ActivityList::chunkForAppend()
{
    const std::size_t position = m_first + m_size;
    const std::size_t index = position / kChunkRecords;
    const std::size_t offset = position % kChunkRecords;
    if (offset == 0) {
        // Full, or another copy has already put its own next chunk here.
        if (m_spine == nullptr || m_spine->size() != index || m_spine->capacity() == index)
            adoptSpine(chunks());
        auto chunk = std::make_shared<Chunk>();
        chunk->reserve(kChunkRecords);
        m_spine->push_back(std::move(chunk));
        return *m_spine->back();
    }
    if (chunks()[index]->size() != offset) {
        // Another copy has appended to the last chunk: go on in a copy of our part of it.
        const std::shared_ptr<Chunk> shared = chunks()[index];
        adoptSpine(chunks().first(index));
        auto chunk = std::make_shared<Chunk>();
        chunk->reserve(kChunkRecords);
        const auto end = shared->begin() + static_cast<std::ptrdiff_t>(offset);
        chunk->assign(shared->begin(), end);
        m_spine->push_back(std::move(chunk));
        return *m_spine->back();
    }
    return *chunks()[index];
}

/// The chunks that hold this list's records. Not by way of the vector's own size, which another
/// copy may be changing on its thread.
std::span<const std::shared_ptr<ActivityList::Chunk>> ActivityList::chunks() const
{
    if (m_size == 0)
        return {};
    return {m_spine->data(), ((m_first + m_size - 1) / kChunkRecords) + 1};
}

/// Goes on with a spine of this list's own that holds `chunks`.
void ActivityList::adoptSpine(std::span<const std::shared_ptr<Chunk>> chunks)
{
    auto spine = std::make_shared<Spine>();
    spine->reserve(std::max(kFirstSpine, 2 * chunks.size()));
    spine->insert(spine->end(), chunks.begin(), chunks.end());
    m_spine = std::move(spine);
}

ActivityIds::ActivityIds(std::vector<platform::Uuid> ids)
    : m_sorted(std::move(ids))
{
    std::ranges::sort(m_sorted);
}

ActivityIds::ActivityIds(ActivityList list)
    : m_origin(std::move(list))
{
    m_sorted.reserve(m_origin.size());
    for (const ActivityLog& log : m_origin)
        m_sorted.push_back(log.id);
    std::ranges::sort(m_sorted);
}

bool ActivityIds::contains(const platform::Uuid& id) const
{
    return std::ranges::binary_search(m_sorted, id);
}

} // namespace activity
