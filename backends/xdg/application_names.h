// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/xdg/desktop_entry_index.h"

#include <QCache>
#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace platform::xdg {

/// What a process tells about the application it belongs to. An empty member: it does not tell, or
/// we may not read it.
struct ProcessFacts
{
    /// The desktop file that the process itself, not a parent of it, was launched from by GIO.
    QString launchedDesktopId;
    /// Desktop ids that the name of its control group may stand for (the naming of systemd for
    /// desktop environments), the likelier first: an unescaped hyphen may belong to the id or
    /// divide it from the launcher's name.
    QStringList controlGroupDesktopIds;
    /// The application that its flatpak sandbox was made for.
    QString flatpakId;
    /// File name of the executable, and of the program as it was called (argv[0]).
    QString executable;
    QString calledAs;
    /// The process's own short name, at most 15 characters.
    QString commandName;

    bool operator==(const ProcessFacts&) const = default;
};

/// Reads the facts about the process `pid` from `procFolder`. All are empty when there is no such
/// process or `pid` is not positive. Reads a few small files of the kernel's, bounded.
/// Any thread.
[[nodiscard]] ProcessFacts readProcessFacts(std::int32_t pid,
                                            const QString& procFolder = QStringLiteral("/proc"));

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

/// Knows the names of the installed applications and keeps up with what is installed: a cache of
/// the latest answers over an index of the desktop files. Main thread; desktop files are read on a
/// thread of its own.
class ApplicationNames final
{
public:
    struct Options
    {
        /// How often, at most, it is asked whether the folders have changed.
        std::chrono::milliseconds checkInterval{5000};
        /// How often they are read all the same, for what nobody tells. Once a minute where the
        /// system has no watches left.
        std::chrono::milliseconds rereadInterval{600'000};
        /// Where processes are read from.
        QString procFolder = QStringLiteral("/proc");
    };

    /// Starts reading the desktop files in `folders`, the first wins. They need not exist yet.
    explicit ApplicationNames(QStringList folders);
    ApplicationNames(QStringList folders, Options options);

    ApplicationNames(const ApplicationNames&) = delete;
    ApplicationNames& operator=(const ApplicationNames&) = delete;
    /// Waits for a reading that is under way.
    ~ApplicationNames();

    /// The application of a window, see matchApplication(); `pid` is 0 when unknown. The first call
    /// waits for the desktop files, later ones do not: while they are read again, what was known
    /// before answers. A repeated question touches no file.
    [[nodiscard]] ApplicationIdentity identify(const QStringList& identifiers, std::int32_t pid);

    /// Another number once identify() may answer otherwise than before. The first call waits, too.
    [[nodiscard]] int edition();

private:
    using Clock = std::chrono::steady_clock;
    using IndexPointer = std::unique_ptr<const DesktopEntryIndex>;
    using Question = std::pair<QStringList, std::int32_t>;

    void startReading();
    void keepUpToDate();

    QStringList m_folders;
    Options m_options;
    FolderWatch m_watch; // of the thread that reads, while it does
    IndexPointer m_index;
    std::future<IndexPointer> m_reading;
    std::thread m_reader;
    Clock::time_point m_checkedAt;
    Clock::time_point m_readAt;
    int m_edition = 0;
    /// Answers of the present index.
    QCache<Question, ApplicationIdentity> m_answers;
};

} // namespace platform::xdg
