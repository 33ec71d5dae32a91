// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/process_shield.h"

#include <optional>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace platform::posix {

namespace {

/// The limit for core files before it was lowered; none in a process that is not shielded.
std::optional<rlim_t>& usualCoreLimit()
{
    static std::optional<rlim_t> limit;
    return limit;
}

/// The soft limit only: the hard one could not be raised again for programs that are started.
void setCoreLimit(rlim_t soft)
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = soft;
    ::setrlimit(RLIMIT_CORE, &limit);
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg): the system's way

bool isTraceable()
{
    return ::prctl(PR_GET_DUMPABLE) != 0;
}

void setTraceable(bool isTraceable)
{
    ::prctl(PR_SET_DUMPABLE, isTraceable ? 1UL : 0UL);
}

// NOLINTEND(cppcoreguidelines-pro-type-vararg)

} // namespace

void shieldThisProcess()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_CORE, &limit) == 0)
        usualCoreLimit() = limit.rlim_cur;
    setCoreLimit(0);
    setTraceable(false);
}

LoweredShield::LoweredShield()
    : m_isLowered(!isTraceable())
{
    if (m_isLowered)
        setTraceable(true);
}

LoweredShield::~LoweredShield()
{
    if (m_isLowered)
        setTraceable(false);
}

UsualCoreLimit::UsualCoreLimit()
{
    if (const auto limit = usualCoreLimit())
        setCoreLimit(*limit);
}

UsualCoreLimit::~UsualCoreLimit()
{
    if (usualCoreLimit())
        setCoreLimit(0);
}

} // namespace platform::posix
