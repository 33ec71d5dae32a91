// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

namespace platform {

/// Whether the user's desktop starts this program when the user logs in.
/// Main thread only; reads and writes small files, so it may block on the disk for a moment.
class LoginItem
{
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    virtual ~LoginItem() = default;

    /// True when the next login would start this program. Asks the system anew each time: the user
    /// can also change this in the desktop's own settings.
    [[nodiscard]] virtual bool isEnabled() const = 0;

    /// Registers this program to be started at login, or unregisters it. After a success
    /// isEnabled() says `enabled`, and asking for what is already so succeeds. After a failure,
    /// whose text names the file and the system's reason, everything is as it was.
    [[nodiscard]] virtual Outcome setEnabled(bool enabled) = 0;
};

} // namespace platform
