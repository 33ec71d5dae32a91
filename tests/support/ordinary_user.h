// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace support {

/// From now on this test and what it starts see of other processes what an ordinary user sees:
/// tests may run as root, who may look into any. False when that cannot be had.
/// For a main thread that has not started programs yet.
[[nodiscard]] inline bool lookAsAnOrdinaryUser()
{
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capget, &header, sets) != 0)
        return false;
    constexpr std::uint32_t kTracing = std::uint32_t{1} << CAP_SYS_PTRACE;
    const bool isOrdinary = (sets[0].permitted & kTracing) == 0;
    // What root starts gets all that is in this set.
    if (::prctl(PR_CAPBSET_DROP, CAP_SYS_PTRACE) != 0 && !isOrdinary)
        return false;
    sets[0].effective &= ~kTracing;
    sets[0].permitted &= ~kTracing;
    sets[0].inheritable &= ~kTracing;
    return ::syscall(SYS_capset, &header, sets) == 0;
}

} // namespace support
