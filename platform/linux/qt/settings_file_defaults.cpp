// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/settings_file_defaults.h"

namespace platform::qt {

SettingsFileDefaults::SettingsFileDefaults(const QString&) {}

SettingsFileDefaults::~SettingsFileDefaults() = default;

std::optional<QString> SettingsFileDefaults::string(const QString& key) const
{
    const auto found = m_values.constFind(key);
    return found == m_values.cend() ? std::nullopt : std::optional(*found);
}

void SettingsFileDefaults::setString(const QString& key, const QString& value)
{
    m_values.insert(key, value);
}

void SettingsFileDefaults::remove(const QString& key)
{
    m_values.remove(key);
}

} // namespace platform::qt
