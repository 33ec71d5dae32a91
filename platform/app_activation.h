// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <cstdint>

class QWindow;

namespace platform {

/// The right to come to the front, handed over by the program where the user acted: on Wayland a
/// token of xdg-activation, on X11 a startup notification id (freedesktop.org), which carries the
/// time of the action. Empty when there is none.
struct ActivationToken
{
    QString value;

    bool operator==(const ActivationToken&) const = default;
};

/// How the program shows itself among the running programs.
enum class ActivationPolicy : std::uint8_t {
    Regular,   ///< its windows are in the taskbar
    Accessory, ///< its windows stay out of the taskbar
};

/// Where the program stands on the user's screen.
/// Main thread; asks the desktop without waiting for it.
class AppActivation
{
public:
    AppActivation() = default;
    AppActivation(const AppActivation&) = delete;
    AppActivation& operator=(const AppActivation&) = delete;
    virtual ~AppActivation() = default;

    /// Whether there are windows. To be told before the first one is made: until then, and without
    /// any, the program's events go by unseen.
    virtual void setHasWindows(bool hasWindows) = 0;

    /// The user has asked for `window`, which is on screen: until another one is asked for or used,
    /// it is the one to bring to the front. A window that gets the focus meanwhile, because it was
    /// on its way to the screen, does not count as used.
    virtual void windowAskedFor(QWindow& window) = 0;

    /// Brings the window that was asked for or used last to the front, whatever else has the focus.
    /// Nothing happens without a window on screen; a minimised one is not. `token` is the right to
    /// do so that another program handed over; it is used up by the next window that comes forward.
    virtual void activateIgnoringOtherApps(const ActivationToken& token) = 0;

    void activateIgnoringOtherApps() { activateIgnoringOtherApps({}); }

    /// For the windows that are on screen and those to come. Accessory until it is called. Where
    /// the desktop has no way to say so, nothing happens.
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
};

} // namespace platform
