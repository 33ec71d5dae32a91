// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <unordered_set>

namespace activity {

/// Makes equal texts share one buffer. A text that nobody else holds any more is dropped in time,
/// so the pool does not grow with every title ever seen.
/// One thread at a time; the texts handed out may be released on any.
class TextPool final
{
public:
    /// The pool's own copy of `text`, which must be valid UTF-8. Constant time on average, and no
    /// single call does work for more than a small share of the pool.
    [[nodiscard]] SharedText intern(std::string_view text);
    [[nodiscard]] SharedText intern(const SharedText& text);

    /// How many distinct texts the pool holds, those included that nobody else holds any more.
    [[nodiscard]] std::size_t size() const;

private:
    struct Hash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const;
        std::size_t operator()(const SharedText& text) const;
    };

    struct Equal
    {
        using is_transparent = void;

        bool operator()(const SharedText& a, const SharedText& b) const { return a == b; }

        bool operator()(const SharedText& a, std::string_view b) const { return a.view() == b; }

        bool operator()(std::string_view a, const SharedText& b) const { return a == b.view(); }
    };

    /// Growing and sweeping touch one shard at a time: that bounds the longest single call.
    struct Shard
    {
        std::unordered_set<SharedText, Hash, Equal> texts;
        std::size_t sweepAt = 32;
    };

    static constexpr std::size_t kShards = 256;

    [[nodiscard]] Shard& shardOf(std::string_view text);
    static void sweepIfDue(Shard& shard);

    std::array<Shard, kShards> m_shards;
};

} // namespace activity
