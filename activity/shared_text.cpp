// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/shared_text.h"

#include <cstring>
#include <new>
#include <simdjson.h>
#include <utility>

namespace activity {

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

} // namespace activity
