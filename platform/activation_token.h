// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace platform {

/// The right to come to the front, handed over by the program where the user acted: on Wayland a
/// token of xdg-activation, on X11 a startup notification id (freedesktop.org), which carries the
/// time of the action. Empty when there is none.
struct ActivationToken
{
    QString value;

    bool operator==(const ActivationToken&) const = default;
};

} // namespace platform
