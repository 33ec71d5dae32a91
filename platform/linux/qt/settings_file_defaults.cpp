// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/settings_file_defaults.h"

#include "platform/linux/qt/settings_file.h"

#include <QSettings>

namespace platform::qt {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatienceAtTheEnd = 2s;
constexpr std::chrono::milliseconds kThreadExpiry = 5s;

QMap<QString, QString> readSettings(const QString& path)
{
    QMap<QString, QString> values;
    if (!isLegibleSettingsFile(path))
        return values;
    const QSettings file(path, QSettings::IniFormat);
    const QStringList keys = file.allKeys();
    for (const QString& key : keys) {
        if (const std::optional<QString> text = fromSetting(file.value(key)))
            values.insert(key, *text);
    }
    return values;
}

int milliseconds(std::chrono::milliseconds limit)
{
    return static_cast<int>(limit.count());
}

} // namespace

SettingsFileDefaults::SettingsFileDefaults(const QString& filePath)
{
    if (filePath.isEmpty())
        return;
    m_state.values = readSettings(filePath);
    m_writer = std::make_unique<SettingsFileWriter>(filePath);
    m_thread = std::make_unique<QThreadPool>();
    m_thread->setMaxThreadCount(1);
    m_thread->setExpiryTimeout(milliseconds(kThreadExpiry));
}

SettingsFileDefaults::~SettingsFileDefaults()
{
    if (m_thread != nullptr && !m_thread->waitForDone(milliseconds(kPatienceAtTheEnd))) {
        // The thread still uses them, and nothing ends it sooner than the process.
        [[maybe_unused]] const auto* const writer = m_writer.release();
        [[maybe_unused]] const auto* const thread = m_thread.release();
    }
}

std::optional<QString> SettingsFileDefaults::string(const QString& key) const
{
    const auto found = m_state.values.constFind(key);
    return found == m_state.values.cend() ? std::nullopt : std::optional(*found);
}

void SettingsFileDefaults::setString(const QString& key, const QString& value)
{
    m_state.values.insert(key, value.isValidUtf16() ? value : QString::fromUtf8(value.toUtf8()));
    writeBack(key);
}

void SettingsFileDefaults::remove(const QString& key)
{
    m_state.values.remove(key);
    writeBack(key);
}

bool SettingsFileDefaults::finish(std::chrono::milliseconds limit)
{
    return m_thread == nullptr ||
           (m_thread->waitForDone(milliseconds(limit)) && m_writer->hasSaved());
}

void SettingsFileDefaults::writeBack(const QString& key)
{
    if (m_writer == nullptr)
        return;
    m_state.touched.insert(key);
    if (m_writer->submit(m_state))
        m_thread->start(m_writer.get());
}

} // namespace platform::qt
