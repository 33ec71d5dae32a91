// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"
#include "base/uuid.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace activity {

/// One sample of what the user was doing. A plain value: what tells two records apart is `id`
/// alone, equal content means nothing.
struct ActivityLog
{
    /// Fresh and random unless given.
    platform::Uuid id = platform::Uuid::random();
    /// Display name of the frontmost application.
    SharedText appName;
    /// Title of its focused window; the tracker always gives one, if need be the empty text.
    std::optional<SharedText> windowTitle;
    /// Address of the page on show, for browsers that tell.
    std::optional<SharedText> url;
    /// When the sample was taken: seconds since 2001-01-01T00:00:00Z.
    double timestamp = 0;
    /// The span of time the sample stands for, in seconds.
    double duration = 0;

    bool operator==(const ActivityLog&) const = default;
};

class ActivityIds;

/// A list of records in insertion order, made so that neither appending nor copying depends on its
/// length: copies share the stored records, which never change once appended.
///
/// Threads: a copy may be read and released on any thread while another copy is appended to. Among
/// copies that share records only one thread may append.
class ActivityList final
{
public:
    class Iterator;
    using const_iterator = Iterator;
    using value_type = ActivityLog;

    [[nodiscard]] std::size_t size() const { return m_size; }

    [[nodiscard]] bool empty() const { return m_size == 0; }

    /// The record at `index`, which must be below size().
    [[nodiscard]] const ActivityLog& operator[](std::size_t index) const;

    [[nodiscard]] Iterator begin() const;
    [[nodiscard]] Iterator end() const;

    /// Adds `log` at the end, in constant time. Other copies keep what they held.
    void append(ActivityLog log);

    /// True when this list is `prefix` with records appended, as told by shared storage, not by
    /// content: lists of equal records that were built apart are not. The empty list begins all.
    /// One comparison per thousand records.
    [[nodiscard]] bool startsWith(const ActivityList& prefix) const;

    /// This list without the first `count` records. One step per thousand records that are left.
    [[nodiscard]] ActivityList withoutFirst(std::size_t count) const;

    /// This list without the records that `ids` names; the others keep their order. Looks only at
    /// records behind ids.origin() where this list starts with that.
    [[nodiscard]] ActivityList without(const ActivityIds& ids) const;

private:
    // Both only ever grow within capacity reserved at creation, so that what a reader on another
    // thread uses (data() and the elements below its own size) does not move or change.
    using Chunk = std::vector<ActivityLog>;
    using Spine = std::vector<std::shared_ptr<Chunk>>;

    static constexpr std::size_t kChunkRecords = 1024;
    static constexpr std::size_t kFirstSpine = 8;

    [[nodiscard]] Chunk& chunkForAppend();
    [[nodiscard]] std::span<const std::shared_ptr<Chunk>> chunks() const;
    void adoptSpine(std::span<const std::shared_ptr<Chunk>> chunks);

    std::shared_ptr<Spine> m_spine;
    std::size_t m_first = 0; // position of the first record in the first chunk
    std::size_t m_size = 0;
};

/// Walks a list from the oldest record to the newest. Valid while the list or a copy of it lives.
class ActivityList::Iterator final
{
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = ActivityLog;
    using difference_type = std::ptrdiff_t;
    using pointer = const ActivityLog*;
    using reference = const ActivityLog&;

    Iterator() = default;

    Iterator(const ActivityList* list, std::size_t index)
        : m_list(list)
        , m_index(index)
    {
    }

    reference operator*() const { return (*m_list)[m_index]; }

    pointer operator->() const { return &(*m_list)[m_index]; }

    Iterator& operator++()
    {
        ++m_index;
        return *this;
    }

    Iterator operator++(int)
    {
        Iterator before = *this;
        ++m_index;
        return before;
    }

    bool operator==(const Iterator&) const = default;

private:
    const ActivityList* m_list = nullptr;
    std::size_t m_index = 0;
};

inline const ActivityLog& ActivityList::operator[](std::size_t index) const
{
    const std::size_t position = m_first + index;
    // By pointer: in a checked build the vectors' own operators look at their size, which another
    // thread may be changing.
    const Chunk& chunk = **(m_spine->data() + (position / kChunkRecords));
    return *(chunk.data() + (position % kChunkRecords));
}

inline ActivityList::Iterator ActivityList::begin() const
{
    return {this, 0};
}

inline ActivityList::Iterator ActivityList::end() const
{
    return {this, m_size};
}

/// An immutable set of record identities, to name the records that are to leave the store.
/// Any thread.
class ActivityIds final
{
public:
    ActivityIds() = default;
    explicit ActivityIds(std::vector<platform::Uuid> ids);

    /// The identities of every record of `list`: O(n log n), so build it off the main thread for a
    /// long one. It remembers `list`, by which the store removes it again without looking at each
    /// record.
    explicit ActivityIds(ActivityList list);

    [[nodiscard]] bool contains(const platform::Uuid& id) const;

    [[nodiscard]] bool empty() const { return m_sorted.empty(); }

    /// The list whose records all are members; empty when built from single identities.
    [[nodiscard]] const ActivityList& origin() const { return m_origin; }

private:
    std::vector<platform::Uuid> m_sorted;
    ActivityList m_origin;
};

} // namespace activity
