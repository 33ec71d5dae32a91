// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <QMap>
#include <QSet>
#include <QThreadPool>

#include <chrono>
#include <memory>

namespace platform::qt {

/// Settings in an INI file of QSettings, mode 0600 in a folder of mode 0700. They are read once,
/// here; what others write afterwards stays in the file but is not seen. A file that is damaged
/// counts as empty and is kept aside ("<name>.damaged-<UTC time>", the newest three) when the first
/// change is written.
/// Values that are lists are none, and lone surrogates in a text become question marks.
/// Main thread only. Changes are written by a thread of its own, which ends when there is nothing
/// to write for some seconds.
class SettingsFileDefaults final : public UserDefaults
{
public:
    /// Reads the file at `filePath`, which need not exist; with an empty one the settings last as
    /// long as this object. May block on the disk.
    explicit SettingsFileDefaults(const QString& filePath);

    /// Waits for what is owed to the disk for two seconds. What is held up longer, by another
    /// process that keeps the file locked, is left to its thread.
    ~SettingsFileDefaults() override;

    SettingsFileDefaults(const SettingsFileDefaults&) = delete;
    SettingsFileDefaults& operator=(const SettingsFileDefaults&) = delete;

    [[nodiscard]] std::optional<QString> string(const QString& key) const override;
    void setString(const QString& key, const QString& value) override;
    void remove(const QString& key) override;

    /// Waits at most `limit` until everything that was changed is on the disk; false when it is
    /// not by then, or could not be written. For the end of the process.
    [[nodiscard]] bool finish(std::chrono::milliseconds limit);

private:
    class Writer;

    struct State
    {
        QMap<QString, QString> values;
        QSet<QString> touched; // set or removed by this process
    };

    void writeBack(const QString& key);

    State m_state;
    std::unique_ptr<Writer> m_writer; // none without a file
    std::unique_ptr<QThreadPool> m_thread;
};

} // namespace platform::qt
