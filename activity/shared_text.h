// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <unordered_set>

namespace activity {

/// An immutable text in valid UTF-8 whose copies share one buffer. One pointer wide, because a
/// stored list holds millions of them. Reading and copying: any thread.
class SharedText final
{
public:
    /// The empty text.
    SharedText() = default;

    /// A copy of `utf8` in a buffer of its own; bytes that are not valid UTF-8 become U+FFFD.
    explicit SharedText(std::string_view utf8);
    explicit SharedText(QStringView text);

    SharedText(const SharedText& other) noexcept;
    SharedText(SharedText&& other) noexcept;
    SharedText& operator=(const SharedText& other) noexcept;
    SharedText& operator=(SharedText&& other) noexcept;
    ~SharedText();

    /// The text; valid while this object or a copy of it lives.
    [[nodiscard]] std::string_view view() const;

    [[nodiscard]] QString toString() const;

    /// True when both are copies of one another, so that comparing the texts can be spared.
    [[nodiscard]] bool sharesBufferWith(const SharedText& other) const;

    /// The same for copies of one another, and for nothing else that lives at the same time; null
    /// for the empty text. Not to be looked into.
    [[nodiscard]] const void* identity() const { return m_buffer; }

    /// True when no copy of this text lives. Only an owner that nobody can copy from meanwhile may
    /// conclude anything from it.
    [[nodiscard]] bool isSoleOwner() const;

    friend bool operator==(const SharedText& a, const SharedText& b)
    {
        return a.sharesBufferWith(b) || a.view() == b.view();
    }

    friend bool operator==(const SharedText& a, std::string_view b) { return a.view() == b; }

private:
    struct Buffer
    {
        std::atomic<std::size_t> owners;
        std::size_t size;
    };

    void assign(std::string_view validUtf8);
    void release() noexcept;

    Buffer* m_buffer = nullptr; // the text follows the header; none for the empty text
};

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
