// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/extension_state.h"

namespace platform::gnome {

namespace {

/// The shell's numbers for the state of an extension; the same in all versions that have them.
enum class ShellState : std::uint8_t {
    Enabled = 1,
    Disabled = 2,
    Error = 3,
    OutOfDate = 4,
    Initialized = 6,
    Disabling = 7,
    Enabling = 8,
    Uninstalled = 99,
};

} // namespace

QString extensionUuid()
{
    return QStringLiteral(GNOME_EXTENSION_UUID);
}

ExtensionState extensionState(const QVariantMap& info, bool extensionsAreOn, bool isInstalled)
{
    if (info.isEmpty())
        return isInstalled ? ExtensionState::NotLoaded : ExtensionState::NotInstalled;
    // Zero, which is none of them, when it is no number.
    const double number = info.value(QStringLiteral("state")).toDouble();
    const auto is = [number](ShellState each) {
        return number == static_cast<double>(each);
    };
    if (is(ShellState::Error))
        return ExtensionState::Failed;
    if (is(ShellState::OutOfDate))
        return ExtensionState::Outdated;
    if (is(ShellState::Uninstalled))
        return ExtensionState::NotInstalled;
    if (is(ShellState::Disabled) || is(ShellState::Initialized) || is(ShellState::Disabling))
        return extensionsAreOn ? ExtensionState::SwitchedOff : ExtensionState::AllOff;
    return is(ShellState::Enabled) || is(ShellState::Enabling) ? ExtensionState::Working
                                                               : ExtensionState::Unknown;
}

QString adviceFor(ExtensionState state)
{
    switch (state) {
    case ExtensionState::Unknown:
    case ExtensionState::Working:
        return {};
    case ExtensionState::NotInstalled:
        return QStringLiteral("GNOME tells which window is in front only to its extensions, and "
                              "ours is not installed. Install this program with its extension %1, "
                              "then log out and in again.")
            .arg(extensionUuid());
    case ExtensionState::NotLoaded:
        return QStringLiteral("The GNOME extension that tells which window is in front has been "
                              "installed, but GNOME has not loaded it yet. Log out and in again, "
                              "then run \"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::SwitchedOff:
        return QStringLiteral("The GNOME extension that tells which window is in front is switched "
                              "off. Switch it on in the program Extensions, or run "
                              "\"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::AllOff:
        return QStringLiteral("All extensions of GNOME are switched off, also the one that tells "
                              "which window is in front. Switch them on in the program Extensions, "
                              "or run \"gsettings set org.gnome.shell disable-user-extensions "
                              "false\", and then \"gnome-extensions enable %1\".")
            .arg(extensionUuid());
    case ExtensionState::Failed:
        return QStringLiteral("The GNOME extension that tells which window is in front has failed. "
                              "\"gnome-extensions info %1\" says more; log out and in again to "
                              "start it anew.")
            .arg(extensionUuid());
    case ExtensionState::Outdated:
        return QStringLiteral("The GNOME extension that tells which window is in front is made for "
                              "another version of GNOME. Install the version of this program that "
                              "is made for yours, then log out and in again.");
    }
    return {};
}

} // namespace platform::gnome
