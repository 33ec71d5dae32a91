// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/desktop_entry_index.h"

#include "backends/xdg/key_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>

namespace platform::xdg {

namespace {

constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                   IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

constexpr QLatin1String kEnding(".desktop");
constexpr QLatin1String kFolder("/applications/");
constexpr int kDeepestFolder = 8;

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

void addFirst(QHash<QString, const DesktopEntry*>& lookup,
              const QString& key,
              const DesktopEntry& entry)
{
    if (!key.isEmpty() && !lookup.contains(key))
        lookup.insert(key, &entry);
}

} // namespace

FolderWatch::FolderWatch()
    : m_descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , m_isComplete(m_descriptor.isOpen())
{
}

void FolderWatch::add(const QString& folder)
{
    QByteArray path = QFile::encodeName(folder);
    QByteArray awaited; // in the nearest folder that exists
    while (!watch(path, awaited)) {
        const qsizetype slash = path.lastIndexOf('/');
        if ((errno != ENOENT && errno != ENOTDIR) || slash < 0 || path.size() == 1) {
            m_isComplete = m_isComplete && errno == EACCES; // what may not be seen is not missed
            return;
        }
        awaited = path.mid(slash + 1);
        path.truncate(slash == 0 ? 1 : slash);
    }
}

/// Watches `folder` for everything or, when a name is given, for at least that.
bool FolderWatch::watch(const QByteArray& folder, const QByteArray& name)
{
    const int number =
        ::inotify_add_watch(m_descriptor.get(), folder.constData(), kChanges | IN_ONLYDIR);
    if (number < 0)
        return false;
    const auto [names, isNew] = m_names.try_emplace(number);
    if (name.isEmpty())
        names->second.clear();
    else if (isNew || !(names->second.isEmpty() || names->second.contains(name)))
        names->second.append(name);
    return true;
}

bool FolderWatch::hasChanged()
{
    bool result = false;
    alignas(inotify_event) std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t size = ::read(m_descriptor.get(), buffer.data(), buffer.size());
        if (size <= 0)
            return result;
        for (const char* at = buffer.data(); at < buffer.data() + size;) {
            inotify_event event{};
            std::memcpy(&event, at, sizeof event);
            const char* const name = at + sizeof event;
            const auto names = m_names.find(event.wd);
            result = result || event.len == 0 || names == m_names.end() ||
                     names->second.isEmpty() || names->second.contains(name);
            if ((event.mask & IN_IGNORED) != 0)
                m_names.erase(event.wd);
            at = name + event.len;
        }
    }
}

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
    if (watch != nullptr)
        watch->beginAnew();
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
    // Links may lead back up.
    if (::stat(QFile::encodeName(folder).constData(), &state) != 0 || depth > kDeepestFolder ||
        !reading.seenFolders.emplace(state.st_dev, state.st_ino).second)
        return;
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

} // namespace platform::xdg
