// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/write_budget.h"

#include <algorithm>
#include <cmath>

namespace activity {

WriteBudget::WriteBudget(std::int64_t bytesPerSecond)
    : m_bytesPerSecond(static_cast<double>(bytesPerSecond))
    , m_available(m_bytesPerSecond)
{
}

std::int64_t WriteBudget::available(TimePoint now)
{
    refill(now);
    return m_available < m_bytesPerSecond / 4 ? 0 : std::llround(std::floor(m_available));
}

void WriteBudget::charge(std::int64_t bytes, TimePoint now)
{
    refill(now);
    m_available -= static_cast<double>(bytes);
}

std::chrono::milliseconds WriteBudget::untilFull(TimePoint now)
{
    refill(now);
    const std::chrono::duration<double> missing((m_bytesPerSecond - m_available) /
                                                m_bytesPerSecond);
    return std::chrono::ceil<std::chrono::milliseconds>(missing);
}

void WriteBudget::refill(TimePoint now)
{
    const std::chrono::duration<double> passed = now - m_refilled;
    m_available = std::min(m_bytesPerSecond, m_available + (passed.count() * m_bytesPerSecond));
    m_refilled = now;
}

} // namespace activity
