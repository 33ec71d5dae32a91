// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <QMap>

namespace platform::qt {

/// Settings in an INI file of QSettings.
class SettingsFileDefaults final : public UserDefaults
{
public:
    /// `filePath` need not exist; with an empty one the settings last as long as this object.
    explicit SettingsFileDefaults(const QString& filePath);
    ~SettingsFileDefaults() override;

    [[nodiscard]] std::optional<QString> string(const QString& key) const override;
    void setString(const QString& key, const QString& value) override;
    void remove(const QString& key) override;

private:
    QMap<QString, QString> m_values;
};

} // namespace platform::qt
