// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/shared_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <unordered_set>

namespace activity {

/// Makes equal texts share one buffer. A text that nobody else holds any more is dropped in time,
/// so the pool does not grow with every title ever seen: with each new text, the sooner the longer
/// it is, and with each sweepSome() a few are looked at.
/// One thread at a time; the texts handed out may be released on any.
class TextPool final
{
public:
    /// The pool's own copy of `text`, which must be valid UTF-8. Constant time on average, and no
    /// single call does work for more than a small share of the pool.
    [[nodiscard]] SharedText intern(std::string_view text);
    [[nodiscard]] SharedText intern(const SharedText& text);

    /// Looks at a few texts and drops those that nobody else holds: some microseconds at most, on
    /// average.
    void sweepSome();

    /// Does so for the next of the pool's `kParts`.
    void sweepPart();

    static constexpr std::size_t kParts = 1024;

    /// How many distinct texts the pool holds, those included that nobody else holds any more.
    [[nodiscard]] std::size_t size() const;

private:
    struct Hash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const;
        std::size_t operator()(const SharedText& text) const;
    };

    /// Growing and sweeping touch one of them at a time: that bounds the longest single call.
    using Shard = std::unordered_set<SharedText, Hash, std::equal_to<>>;

    [[nodiscard]] Shard& shardOf(std::string_view text);
    void makeRoomFor(std::size_t bytes);
    void sweep(std::int64_t texts);

    std::array<Shard, kParts> m_shards;
    std::size_t m_next = 0;    // shard to be swept
    std::int64_t m_credit = 0; // texts that may still be looked at; below 0 there were too many
};

} // namespace activity
