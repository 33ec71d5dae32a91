// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/folder_watch.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace platform::xdg {

namespace {
constexpr std::uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                   IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;
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

} // namespace platform::xdg
