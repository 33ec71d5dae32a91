// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/xdg/desktop_entry_index.h"
#include "platform/linux/xdg/process_facts.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace platform::xdg {

/// An application as the user and other programs know it.
struct ApplicationIdentity
{
    /// The id of its desktop file without ".desktop", else what its window calls itself.
    std::optional<QString> identifier;
    /// Its name in the user's language; else the identifier, else the name of its process.
    std::optional<QString> name;

    bool operator==(const ApplicationIdentity&) const = default;
};

/// Finds the application of a window by what it calls itself, `identifiers` with the most telling
/// first, and by its process. The first rule that leads to a desktop file counts:
///  1. its id is one of the identifiers;
///  2. its StartupWMClass is one of them;
///  3. the same without regard to case, for ids also with blanks as hyphens or left out;
///  4. the process was launched from it, runs in its control group or in its flatpak sandbox;
///  5. it starts the process's program, unless that only interprets another one;
///  6. the last component of its id is one of the identifiers ("epiphany", org.gnome.Epiphany).
/// Without one, the first identifier and the process's name stand in. A window of Tor Browser is
/// not found by rule 5: what it runs is Firefox's.
/// This program itself goes by its own identifier and display name, whether it is installed or not:
/// when one of the identifiers is its bundle identifier or its executable's name, whatever the case
/// (XWayland's are in lower case with some desktops), or when the process runs that executable.
/// Pure. Any thread.
[[nodiscard]] ApplicationIdentity matchApplication(const QStringList& identifiers,
                                                   const ProcessFacts& process,
                                                   const DesktopEntryIndex& index);

} // namespace platform::xdg
