// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/user_defaults.h"

#include <QMap>

namespace fakes {

/// Settings in memory.
class FakeUserDefaults final : public platform::UserDefaults
{
public:
    [[nodiscard]] std::optional<QString> string(const QString& key) const override
    {
        const auto found = values.constFind(key);
        return found == values.cend() ? std::nullopt : std::optional(*found);
    }

    void setString(const QString& key, const QString& value) override { values.insert(key, value); }

    void remove(const QString& key) override { values.remove(key); }

    QMap<QString, QString> values;
};

} // namespace fakes
