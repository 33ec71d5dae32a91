// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

namespace platform::posix {

/// From now on other processes of the user cannot trace this one, nor read its memory or what the
/// kernel shows only to who may trace it (proc(5)), and it leaves no core file. Root still can.
/// Programs that it starts begin unshielded, but inherit the limit for core files: UsualCoreLimit.
/// Of the whole process; once, before other threads.
void shieldThisProcess();

/// Lets other processes of the user see for a moment which executable this one runs, and with that
/// all the rest: while an object exists, a shielded process may be traced. Core files it leaves
/// none all the same. Does nothing to a process that is not shielded.
/// One at a time.
class LoweredShield final
{
public:
    LoweredShield();
    LoweredShield(const LoweredShield&) = delete;
    LoweredShield& operator=(const LoweredShield&) = delete;
    ~LoweredShield();

private:
    bool m_isLowered;
};

/// While an object exists, programs that are started get the limit for core files that this one was
/// started with. This one, being shielded, leaves none whatever the limit is.
/// One at a time.
class UsualCoreLimit final
{
public:
    UsualCoreLimit();
    UsualCoreLimit(const UsualCoreLimit&) = delete;
    UsualCoreLimit& operator=(const UsualCoreLimit&) = delete;
    ~UsualCoreLimit();
};

} // namespace platform::posix
