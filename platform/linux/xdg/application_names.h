// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/xdg/application_matcher.h"
#include "platform/linux/xdg/folder_watch.h"

#include <QCache>
#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace platform::xdg {

/// Knows the names of the installed applications and keeps up with what is installed.
/// Main thread; desktop files are read on a thread of its own.
class ApplicationNames final
{
public:
    struct Options
    {
        /// How often, at most, it is asked whether the folders have changed.
        std::chrono::milliseconds checkInterval{5000};
        /// How often the folders themselves are looked at all the same, on the other thread: for
        /// what nobody tells.
        std::chrono::milliseconds lookInterval{600'000};
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

    void startReading(bool onlyIfChanged);
    void keepUpToDate();

    QStringList m_folders;
    Options m_options;
    FolderWatch m_watch; // of the thread that reads, while it does
    IndexPointer m_index;
    std::future<IndexPointer> m_reading;
    std::thread m_reader;
    Clock::time_point m_checkedAt;
    Clock::time_point m_lookedAt;
    int m_edition = 0;
    /// Answers of the present index.
    QCache<Question, ApplicationIdentity> m_answers;
};

} // namespace platform::xdg
