// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/firefox_history.h"

#include "platform/linux/atspi/firefox_settings.h"
#include "platform/linux/posix/file_descriptor.h"

#include <QFile>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace platform::atspi {

namespace {

namespace fs = std::filesystem;
using platform::posix::FileDescriptor;

using Forgoes = bool (*)(const QByteArray& text);

constexpr qsizetype kMostKnown = 64;
constexpr int kMostDescriptors = 16'384; // usual are some hundreds
constexpr int kMostFiles = 256;
constexpr qint64 kLargestFile = 4LL * 1024 * 1024;

enum class Need : std::uint8_t {
    Optional,
    Required,
};

fs::path pathOf(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/// Whether the file is there, can be read and says nothing against a history.
bool allowsHistory(const fs::path& path, Forgoes forgoes, Need need = Need::Optional)
{
    // A pipe would keep us waiting.
    const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen())
        return need == Need::Optional && (errno == ENOENT || errno == ENOTDIR);
    struct stat status = {};
    if (::fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    QFile file;
    if (!file.open(descriptor.get(), QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    const QByteArray text = file.read(kLargestFile);
    return text.size() < kLargestFile && file.error() == QFile::NoError && !forgoes(text);
}

/// Whether that holds for all files of a folder whose names end so. There may be no such folder.
bool allAllowHistory(const fs::path& folder, const char* extension, Forgoes forgoes)
{
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    if (error)
        return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
    for (int left = kMostFiles; entry != fs::directory_iterator(); entry.increment(error)) {
        if (--left == 0)
            return false;
        if (entry->path().extension() == extension && !allowsHistory(entry->path(), forgoes))
            return false;
    }
    return !error;
}

/// The folder whose lock the process holds open, as the process sees it. None when there is none,
/// several, or another file has that name for us.
std::optional<fs::path> profileOf(const fs::path& process)
{
    std::optional<fs::path> profile;
    std::error_code error;
    int left = kMostDescriptors;
    for (fs::directory_iterator entry(process / "fd", error);
         !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (--left == 0)
            return std::nullopt;
        std::error_code gone;
        const fs::path file = fs::read_symlink(entry->path(), gone);
        if (gone || file.filename() != ".parentlock")
            continue;
        const fs::path seen = process / "root" / file.relative_path();
        if (!fs::equivalent(entry->path(), seen, gone) || gone ||
            (profile && *profile != seen.parent_path()))
            return std::nullopt;
        profile = seen.parent_path();
    }
    return error ? std::nullopt : profile;
}

/// Whether nothing for all users of this program says otherwise.
bool systemAllowsHistory(const fs::path& process)
{
    std::error_code error;
    const fs::path root = process / "root";
    const fs::path program = fs::read_symlink(process / "exe", error);
    const fs::path folder = root / program.parent_path().relative_path();
    if (error || !program.is_absolute() || !fs::is_directory(folder, error))
        return false;
    const fs::path etc = root / "etc";
    const fs::path own = etc / program.parent_path().filename();
    for (const fs::path& policies :
         {folder / "distribution", etc / "firefox/policies", own / "policies"}) {
        if (!allowsHistory(policies / "policies.json", policiesForgoHistory))
            return false;
    }
    for (const fs::path& preferences : {folder / "defaults/pref",
                                        folder / "defaults/preferences",
                                        folder / "browser/defaults/preferences",
                                        etc / "firefox",
                                        etc / "firefox/pref",
                                        own,
                                        own / "pref"}) {
        if (!allAllowHistory(preferences, ".js", preferencesForgoHistory))
            return false;
    }
    return allAllowHistory(folder, ".cfg", scriptForgoesHistory);
}

bool profileAllowsHistory(const fs::path& profile)
{
    return allowsHistory(profile / "prefs.js", preferencesForgoHistory, Need::Required) &&
           allowsHistory(profile / "user.js", preferencesForgoHistory);
}

QByteArray stampOf(const fs::path& profile)
{
    QByteArray stamp;
    for (const char* name : {"prefs.js", "user.js"}) {
        struct stat status = {};
        const bool isThere = ::stat((profile / name).c_str(), &status) == 0;
        const std::initializer_list<qint64> marks{isThere ? 1 : 0,
                                                  static_cast<qint64>(status.st_ino),
                                                  static_cast<qint64>(status.st_size),
                                                  static_cast<qint64>(status.st_mtim.tv_sec),
                                                  static_cast<qint64>(status.st_mtim.tv_nsec)};
        for (const qint64 mark : marks)
            stamp += QByteArray::number(mark) + ' ';
    }
    return stamp;
}

} // namespace

FirefoxHistory::FirefoxHistory(QString procFolder)
    : m_procFolder(std::move(procFolder))
{
}

bool FirefoxHistory::isKeptBy(std::int32_t process)
{
    const auto stat = posix::readProcessStat(process, m_procFolder);
    if (!stat)
        return false;
    const posix::ProcessMark& mark = stat->process;
    if (m_known.size() >= kMostKnown && !m_known.contains(process))
        m_known.clear(); // it is found out again
    Known& known = m_known[process];
    if (known.process != mark)
        known = look(mark);
    if (!known.isKept)
        return false;
    // Before the reading: what changes meanwhile is read again.
    const QByteArray stamp = stampOf(known.profile);
    if (stamp != known.stamp) {
        known.isKept = profileAllowsHistory(known.profile);
        known.stamp = stamp;
    }
    return known.isKept && posix::isRunning(mark, m_procFolder);
}

FirefoxHistory::Known FirefoxHistory::look(const posix::ProcessMark& process) const
{
    const fs::path folder = pathOf(m_procFolder) / std::to_string(process.pid);
    Known known{.process = process, .isKept = false, .profile = {}, .stamp = {}};
    if (const auto profile = profileOf(folder)) {
        known.profile = *profile;
        known.isKept = systemAllowsHistory(folder);
    }
    return known;
}

} // namespace platform::atspi
