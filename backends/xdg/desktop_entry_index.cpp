// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/desktop_entry_index.h"

#include "backends/xdg/folder_watch.h"
#include "backends/xdg/key_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <tuple>
#include <utility>

namespace platform::xdg {

namespace {
constexpr QLatin1String kEnding(".desktop");
constexpr QLatin1String kFolder("/applications/");
constexpr int kDeepestFolder = 8;

/// A folder changed so shortly before it was read may change again without a new time: clocks of
/// file systems advance in steps.
constexpr std::chrono::milliseconds kCoarsestFileTime{20};

std::int64_t nanoseconds(const timespec& time)
{
    constexpr std::int64_t kPerSecond = 1'000'000'000;
    return (time.tv_sec * kPerSecond) + time.tv_nsec;
}

std::int64_t modifiedNanoseconds(const QString& folder)
{
    struct stat state{};
    return ::stat(QFile::encodeName(folder).constData(), &state) == 0 ? nanoseconds(state.st_mtim)
                                                                      : 0;
}

/// None when the file `path` cannot be read, is no valid key file or does not describe an
/// application. That its program is installed is not asked for: it may run in a sandbox, and the
/// name holds all the same. So not GDesktopAppInfo, which refuses such entries.
std::optional<DesktopEntry> readDesktopEntry(const QString& path, const QString& id)
{
    const auto keys = KeyFile::read(path, KeyFile::Purpose::Reading);
    if (!keys)
        return std::nullopt;
    const bool hidden = keys->flag("Hidden").value_or(false);
    if (!hidden && keys->text("Type") != QLatin1StringView("Application"))
        return std::nullopt;
    const QString program = programOfExecLine(keys->text("Exec"));
    return DesktopEntry{
        .id = id,
        .name = keys->localText("Name"),
        .startupWmClass = keys->text("StartupWMClass"),
        .program = program.mid(program.lastIndexOf(u'/') + 1),
        .shown = !keys->flag("NoDisplay").value_or(false),
        .hidden = hidden,
    };
}

/// The time to remember of a folder that is read now: -1, which never compares equal, makes it be
/// read again at the next occasion. A time ahead of the clock is none of these, or the folder would
/// be read again for ever.
std::int64_t settledTime(const struct stat& state)
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const std::chrono::nanoseconds age(nanoseconds(now) - nanoseconds(state.st_mtim));
    const bool mayStillChange = age.count() >= 0 && age < kCoarsestFileTime;
    return mayStillChange ? -1 : nanoseconds(state.st_mtim);
}

void addFirst(QHash<QString, const DesktopEntry*>& lookup,
              const QString& key,
              const DesktopEntry& entry)
{
    if (!key.isEmpty() && !lookup.contains(key))
        lookup.insert(key, &entry);
}
} // namespace

QString desktopIdOfPath(const QString& pathInFolder)
{
    if (!pathInFolder.endsWith(kEnding))
        return {};
    return withoutDesktopEnding(pathInFolder).replace(u'/', u'-');
}

QString desktopIdOfFile(const QString& path)
{
    const qsizetype folder = path.lastIndexOf(kFolder);
    return desktopIdOfPath(folder >= 0 ? path.mid(folder + kFolder.size())
                                       : path.mid(path.lastIndexOf(u'/') + 1));
}

QString withoutDesktopEnding(const QString& identifier)
{
    return identifier.endsWith(kEnding) ? identifier.chopped(kEnding.size()) : identifier;
}

struct DesktopEntryIndex::Reading
{
    FolderWatch* watch = nullptr;
    std::set<std::pair<dev_t, ino_t>> seenFolders;
    QSet<QString> seenIds;
};

DesktopEntryIndex::DesktopEntryIndex(const QStringList& folders, FolderWatch* watch)
{
    Reading reading;
    reading.watch = watch;
    for (const QString& folder : folders)
        readFolder(reading, folder, {}, 0);
    fillLookups();
}

void DesktopEntryIndex::readFolder(Reading& reading,
                                   const QString& folder,
                                   const QString& pathInBase,
                                   int depth)
{
    if (reading.watch != nullptr)
        reading.watch->add(folder);
    struct stat state{};
    if (::stat(QFile::encodeName(folder).constData(), &state) != 0) {
        m_folders.push_back({.path = folder});
        return;
    }
    // Links may lead back up.
    if (depth > kDeepestFolder || !reading.seenFolders.emplace(state.st_dev, state.st_ino).second)
        return;
    m_folders.push_back({.path = folder, .modifiedNanoseconds = settledTime(state)});
    const QDir dir(folder);
    readFiles(reading, dir, pathInBase);
    for (const QString& inner : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        readFolder(reading, dir.filePath(inner), pathInBase + inner + u'/', depth + 1);
}

void DesktopEntryIndex::readFiles(Reading& reading, const QDir& folder, const QString& pathInBase)
{
    const auto files = folder.entryList({QStringLiteral("*.desktop")},
                                        QDir::Files | QDir::Hidden | QDir::CaseSensitive,
                                        QDir::Name);
    for (const QString& file : files) {
        const QString id = desktopIdOfPath(pathInBase + file);
        if (reading.seenIds.contains(id))
            continue;
        auto entry = readDesktopEntry(folder.filePath(file), id);
        if (!entry)
            continue;
        reading.seenIds.insert(id);
        if (!entry->hidden)
            m_entries.push_back(*std::move(entry));
    }
}

void DesktopEntryIndex::fillLookups()
{
    std::ranges::sort(m_entries, [](const DesktopEntry& a, const DesktopEntry& b) {
        return std::tuple(!a.shown, a.id.size(), a.id) < std::tuple(!b.shown, b.id.size(), b.id);
    });
    for (const DesktopEntry& entry : m_entries) {
        const QString id = entry.id.toLower();
        addFirst(m_byId, entry.id, entry);
        addFirst(m_byIdInAnyCase, id, entry);
        addFirst(m_byWindowClass, entry.startupWmClass, entry);
        addFirst(m_byWindowClassInAnyCase, entry.startupWmClass.toLower(), entry);
        addFirst(m_byProgram, entry.program, entry);
        addFirst(m_byLastComponent, id.mid(id.lastIndexOf(u'.') + 1), entry);
    }
}

bool DesktopEntryIndex::isUpToDate() const
{
    return std::ranges::all_of(m_folders, [](const FolderState& folder) {
        return folder.modifiedNanoseconds == modifiedNanoseconds(folder.path);
    });
}

} // namespace platform::xdg
