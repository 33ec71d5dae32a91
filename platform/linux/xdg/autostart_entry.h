// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/posix/glib_owned.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::xdg {

/// A desktop file that says what is started at login (Desktop Application Autostart Specification),
/// as it can be read and changed. Keys and comments that are not ours stay as they are. One thread
/// at a time.
class AutostartEntry final
{
public:
    /// One without any keys.
    AutostartEntry();

    /// The file `path`; none when it cannot be read or is no key file. Blocks on the disk.
    [[nodiscard]] static std::optional<AutostartEntry> read(const QString& path);

    /// Whether a desktop that calls itself `desktops` (XDG_CURRENT_DESKTOP) starts a program for
    /// this entry, names of programs being looked for in `programFolders`. Asks the disk.
    [[nodiscard]] bool starts(const QStringList& desktops, const QStringList& programFolders) const;

    /// Makes it an entry that a desktop that calls itself `desktops` starts `executable` for,
    /// whatever may have kept it from that.
    void enable(const QString& executable, const QStringList& desktops);

    /// Makes it an entry that hides those of the same name in other folders and starts nothing.
    /// `executable` is what it would start without that.
    void hide(const QString& executable);

    /// The content of its file.
    [[nodiscard]] QByteArray content() const;

private:
    [[nodiscard]] QString text(const char* key) const;
    [[nodiscard]] std::optional<bool> flag(const char* key) const;
    [[nodiscard]] bool isForOneOf(const QStringList& desktops) const;
    [[nodiscard]] bool has(const char* key) const;
    [[nodiscard]] QStringList list(const char* key) const;
    void setText(const char* key, const QString& value);
    void remove(const char* key);
    void describe(const QString& executable);

    posix::GlibOwned<GKeyFile> m_file;
};

} // namespace platform::xdg
