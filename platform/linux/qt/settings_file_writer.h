// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/mailbox.h"

#include <QMap>
#include <QRunnable>
#include <QSet>
#include <QString>

#include <atomic>

namespace platform::qt {

/// All settings, and which of them this process has set or removed since it began.
struct SettingsState
{
    QMap<QString, QString> values;
    QSet<QString> touched;
};

/// Writes settings to an INI file in the background: those that this process has touched, into
/// what the file holds by then. The file is replaced whole. One that is not legible is first kept
/// aside, and everything is written then.
/// It is run by a pool, one run after the other; submit() and hasSaved() are for any thread.
class SettingsFileWriter final : public QRunnable
{
public:
    explicit SettingsFileWriter(QString path);

    /// Leaves `state` for the next run, in place of what waits. True when none is on its way, so
    /// that one is to be started. Never blocks.
    [[nodiscard]] bool submit(SettingsState state);

    /// Writes what waits, if anything. May block on the disk, and for as long as another process
    /// holds the file's lock.
    void run() override;

    /// Whether everything that was run for has reached the disk.
    [[nodiscard]] bool hasSaved() const { return m_hasSaved.load(std::memory_order_acquire); }

private:
    [[nodiscard]] bool write(const SettingsState& state) const;
    void warnOnce();

    QString m_path;
    Mailbox<SettingsState> m_inbox;
    std::atomic<bool> m_hasSaved = true;
    std::atomic<bool> m_hasWarned = false;
};

} // namespace platform::qt
