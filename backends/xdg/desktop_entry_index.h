// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/file_descriptor.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <map>
#include <vector>

class QDir;

namespace platform::xdg {

/// Whether anything has happened in some folders (inotify). What happens elsewhere to a folder that
/// is on the network is not told, nor that another one has taken its place behind a symbolic link.
/// One thread at a time.
class FolderWatch final
{
public:
    FolderWatch();

    /// What is added from now on is all there is to watch: the system may have watches again.
    void beginAnew() { m_isComplete = m_descriptor.isOpen(); }

    /// Watches `folder` from now on; while it does not exist, for its coming. Blocks on the disk.
    void add(const QString& folder);

    /// Whether something may have changed since the last call. Reads what the kernel has noted and
    /// touches no folder: never blocks.
    [[nodiscard]] bool hasChanged();

    /// Whether all folders are watched: the system has only so many watches.
    [[nodiscard]] bool isComplete() const { return m_isComplete; }

private:
    [[nodiscard]] bool watch(const QByteArray& folder, const QByteArray& name);

    posix::FileDescriptor m_descriptor;
    bool m_isComplete;
    /// The names of interest in a folder, by the number of its watch; an empty list for all.
    std::map<int, QByteArrayList> m_names;
};

/// The id of a desktop file without its ending ".desktop" (Desktop Entry Specification), from its
/// path within an "applications" folder: sub-folders become prefixes, "kde/term.desktop" is
/// "kde-term". Empty when the path does not end in ".desktop". Any thread.
[[nodiscard]] QString desktopIdOfPath(const QString& pathInFolder);

/// The same from the path of the file, by the last folder named "applications" in it; by the file
/// name alone when there is none.
[[nodiscard]] QString desktopIdOfFile(const QString& path);

/// `identifier` without an ending ".desktop", which some programs leave on it.
[[nodiscard]] QString withoutDesktopEnding(const QString& identifier);

/// What we use of one desktop file (Desktop Entry Specification).
struct DesktopEntry
{
    QString id;             ///< without ".desktop"
    QString name;           ///< in the user's language; empty when the file gives none
    QString startupWmClass; ///< empty when the file gives none
    QString program;        ///< file name of the program in Exec, empty when there is none
    bool shown = true;      ///< false: NoDisplay, not for menus
    bool hidden = false;    ///< true: to be treated as if the file did not exist

    bool operator==(const DesktopEntry&) const = default;
};

/// All desktop files of some folders, by what a window or a process may be called. Immutable.
/// Any thread. Every lookup answers null when nothing fits; where several entries do, one that is
/// shown in menus wins, then the shortest id, then the first by alphabet. Results live as long as
/// the index.
class DesktopEntryIndex final
{
public:
    /// Reads `folders` with their sub-folders; of several files with one id that in the first
    /// folder counts, and hides the others even when it says Hidden itself. Files that cannot be
    /// read are left out. Blocks on the disk. `watch`, unless it is null, is given every folder
    /// before it is read; it is not kept.
    explicit DesktopEntryIndex(const QStringList& folders = {}, FolderWatch* watch = nullptr);

    DesktopEntryIndex(const DesktopEntryIndex&) = delete;
    DesktopEntryIndex& operator=(const DesktopEntryIndex&) = delete;
    ~DesktopEntryIndex() = default;

    /// The entry with this id, without ".desktop".
    [[nodiscard]] const DesktopEntry* withId(const QString& id) const { return m_byId.value(id); }

    /// The same without regard to case.
    [[nodiscard]] const DesktopEntry* withIdInAnyCase(const QString& id) const
    {
        return m_byIdInAnyCase.value(id.toLower());
    }

    /// The entry whose windows carry this class (StartupWMClass).
    [[nodiscard]] const DesktopEntry* withWindowClass(const QString& windowClass) const
    {
        return m_byWindowClass.value(windowClass);
    }

    /// The same without regard to case.
    [[nodiscard]] const DesktopEntry* withWindowClassInAnyCase(const QString& windowClass) const
    {
        return m_byWindowClassInAnyCase.value(windowClass.toLower());
    }

    /// The entry that starts this program, given by its file name.
    [[nodiscard]] const DesktopEntry* withProgram(const QString& program) const
    {
        return m_byProgram.value(program);
    }

    /// The entry whose id ends in ".`component`", without regard to case.
    [[nodiscard]] const DesktopEntry* withLastComponent(const QString& component) const
    {
        return m_byLastComponent.value(component.toLower());
    }

    [[nodiscard]] std::size_t size() const { return m_entries.size(); }

private:
    using Lookup = QHash<QString, const DesktopEntry*>;

    struct Reading;

    void readFolder(Reading& reading, const QString& folder, const QString& pathInBase, int depth);
    void readFiles(Reading& reading, const QDir& folder, const QString& pathInBase);
    void fillLookups();

    std::vector<DesktopEntry> m_entries;
    Lookup m_byId;
    Lookup m_byIdInAnyCase;
    Lookup m_byWindowClass;
    Lookup m_byWindowClassInAnyCase;
    Lookup m_byProgram;
    Lookup m_byLastComponent;
};

} // namespace platform::xdg
