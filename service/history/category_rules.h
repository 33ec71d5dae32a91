// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/history/run.h"

#include <QRegularExpression>
#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// A rule of a user's: what `field` says belongs to the category `name`.
struct CategoryRule
{
    enum class Field : std::uint8_t { App, Title, Site };
    enum class How : std::uint8_t { Contains, Matches };

    std::string name;
    Field field = Field::App;
    How how = How::Contains; ///< contains, whatever the case; or matches as a regular expression
    std::string pattern;

    bool operator==(const CategoryRule&) const = default;
};

/// Rules in their order, of which the first that fits decides. Any thread.
class CategoryRules final
{
public:
    CategoryRules() = default;

    /// A rule whose regular expression is not valid never fits.
    explicit CategoryRules(std::vector<CategoryRule> rules);

    /// Nothing when no rule fits. The text lives as long as this object.
    [[nodiscard]] std::optional<std::string_view> categoryOf(const Run& run) const;

private:
    struct Compiled
    {
        CategoryRule rule;
        QString text;
        QRegularExpression expression;
    };

    std::vector<Compiled> m_rules;
};

} // namespace service
