// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/shared_text.h"

#include <cstring>
#include <new>
#include <simdjson.h>
#include <utility>

namespace activity {

namespace {

constexpr std::int64_t kTextsATime = 16;
constexpr std::int64_t kTextsForANewOne = 2;
constexpr std::size_t kBytesOfAText = 64;
constexpr std::size_t kSmallTable = 16; // buckets, which cost less than making them fewer

} // namespace

SharedText::SharedText(std::string_view utf8)
{
    if (simdjson::validate_utf8(utf8.data(), utf8.size())) {
        assign(utf8);
        return;
    }
    const QByteArray repaired =
        QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).toUtf8();
    assign({repaired.constData(), static_cast<std::size_t>(repaired.size())});
}

SharedText::SharedText(QStringView text)
{
    const QByteArray utf8 = text.toUtf8();
    assign({utf8.constData(), static_cast<std::size_t>(utf8.size())});
}

SharedText::SharedText(const SharedText& other) noexcept
    : m_buffer(other.m_buffer)
{
    if (m_buffer != nullptr)
        m_buffer->owners.fetch_add(1, std::memory_order_relaxed);
}

SharedText::SharedText(SharedText&& other) noexcept
    : m_buffer(std::exchange(other.m_buffer, nullptr))
{
}

SharedText& SharedText::operator=(const SharedText& other) noexcept
{
    SharedText copy(other);
    std::swap(m_buffer, copy.m_buffer);
    return *this;
}

SharedText& SharedText::operator=(SharedText&& other) noexcept
{
    std::swap(m_buffer, other.m_buffer);
    return *this;
}

SharedText::~SharedText()
{
    release();
}

std::string_view SharedText::view() const
{
    if (m_buffer == nullptr)
        return {};
    return {reinterpret_cast<const char*>(m_buffer + 1), m_buffer->size};
}

QString SharedText::toString() const
{
    const std::string_view text = view();
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool SharedText::sharesBufferWith(const SharedText& other) const
{
    return m_buffer == other.m_buffer;
}

bool SharedText::isSoleOwner() const
{
    return m_buffer == nullptr || m_buffer->owners.load(std::memory_order_acquire) == 1;
}

void SharedText::assign(std::string_view validUtf8)
{
    if (validUtf8.empty())
        return;
    void* const memory = ::operator new(sizeof(Buffer) + validUtf8.size());
    m_buffer = new (memory) Buffer{.owners = 1, .size = validUtf8.size()};
    std::memcpy(static_cast<void*>(m_buffer + 1), validUtf8.data(), validUtf8.size());
}

void SharedText::release() noexcept
{
    // Release, then acquire by the last owner: what others read happened before the memory goes.
    if (m_buffer == nullptr || m_buffer->owners.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    m_buffer->~Buffer();
    ::operator delete(m_buffer);
}

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
