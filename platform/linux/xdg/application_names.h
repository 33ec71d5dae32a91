// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/xdg/application_matcher.h"

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
        /// How often, at most, the folders are looked at for changes, on a call of identify().
        /// A file that is rewritten in place, without its folder changing, is not noticed.
        std::chrono::milliseconds checkInterval{5000};
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
    /// before answers. A repeated question touches no file, save for the check of the folders.
    [[nodiscard]] ApplicationIdentity identify(const QStringList& identifiers, std::int32_t pid);

private:
    using Clock = std::chrono::steady_clock;
    using IndexPointer = std::unique_ptr<const DesktopEntryIndex>;
    using Question = std::pair<QStringList, std::int32_t>;

    void startReading();
    void keepUpToDate();

    QStringList m_folders;
    Options m_options;
    IndexPointer m_index;
    std::future<IndexPointer> m_reading;
    std::thread m_reader;
    Clock::time_point m_checkedAt;
    /// Answers of the present index.
    QCache<Question, ApplicationIdentity> m_answers;
};

} // namespace platform::xdg
