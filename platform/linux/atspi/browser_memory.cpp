// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/browser_memory.h"

namespace platform::atspi {

namespace {

constexpr qsizetype kMost = 64;

template <typename Key, typename Value>
std::optional<Value> find(const QHash<Key, Value>& in, const Key& key)
{
    const auto found = in.constFind(key);
    return found == in.constEnd() ? std::nullopt : std::optional(*found);
}

template <typename Key, typename Value>
void keep(QHash<Key, Value>& in, const Key& key, const Value& value)
{
    if (in.size() >= kMost)
        in.clear(); // it is found out again
    in.insert(key, value);
}

} // namespace

std::optional<AccessibleObject> BrowserMemory::program(std::int32_t process) const
{
    return find(m_programs, process);
}

void BrowserMemory::setProgram(std::int32_t process, const AccessibleObject& program)
{
    keep(m_programs, process, program);
}

void BrowserMemory::forgetProgram(std::int32_t process)
{
    m_programs.remove(process);
}

std::optional<bool> BrowserMemory::isPrivate(const AccessibleObject& window) const
{
    return find(m_isPrivate, window);
}

void BrowserMemory::setPrivate(const AccessibleObject& window, bool isPrivate)
{
    keep(m_isPrivate, window, isPrivate);
}

void BrowserMemory::clear()
{
    m_programs.clear();
    m_isPrivate.clear();
}

} // namespace platform::atspi
