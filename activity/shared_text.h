// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <atomic>
#include <cstddef>
#include <string_view>

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

} // namespace activity
