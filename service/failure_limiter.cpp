// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/failure_limiter.h"

#include <utility>

namespace service {

FailureLimiter::FailureLimiter(const Settings& settings, std::function<Clock::time_point()> now)
    : m_settings(settings)
    , m_now(std::move(now))
{
}

std::optional<std::chrono::seconds> FailureLimiter::wait(const std::string& key)
{
    const std::lock_guard lock(m_mutex);
    const Clock::time_point now = m_now();
    forgetOld(now);
    const auto found = m_byKey.find(key);
    if (found == m_byKey.end())
        return std::nullopt;
    std::deque<Clock::time_point>& failures = found->second->failures;
    while (!failures.empty() && failures.front() + m_settings.window <= now)
        failures.pop_front();
    if (failures.size() < m_settings.failures)
        return std::nullopt;
    return std::chrono::ceil<std::chrono::seconds>(failures.front() + m_settings.window - now);
}

void FailureLimiter::addFailure(const std::string& key)
{
    const std::lock_guard lock(m_mutex);
    const Clock::time_point now = m_now();
    forgetOld(now);
    if (const auto found = m_byKey.find(key); found != m_byKey.end()) {
        m_entries.splice(m_entries.end(), m_entries, found->second);
    } else {
        m_byKey.emplace(key, m_entries.insert(m_entries.end(), Entry{.key = key, .failures = {}}));
        if (m_entries.size() > m_settings.keys) {
            m_byKey.erase(m_entries.front().key);
            m_entries.pop_front();
        }
    }
    std::deque<Clock::time_point>& failures = m_entries.back().failures;
    failures.push_back(now);
    if (failures.size() > m_settings.failures)
        failures.pop_front();
}

std::size_t FailureLimiter::size() const
{
    const std::lock_guard lock(m_mutex);
    return m_entries.size();
}

void FailureLimiter::forgetOld(Clock::time_point now)
{
    while (!m_entries.empty() && m_entries.front().failures.back() + m_settings.window <= now) {
        m_byKey.erase(m_entries.front().key);
        m_entries.pop_front();
    }
}

} // namespace service
