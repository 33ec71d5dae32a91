// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/history/category_rules.h"

#include <utility>

namespace service {

namespace {

const std::string* textOf(const Run& run, CategoryRule::Field field)
{
    switch (field) {
    case CategoryRule::Field::App:
        return &run.app;
    case CategoryRule::Field::Title:
        return run.title ? &*run.title : nullptr;
    case CategoryRule::Field::Site:
        return run.site ? &*run.site : nullptr;
    }
    return nullptr;
}

} // namespace

CategoryRules::CategoryRules(std::vector<CategoryRule> rules)
{
    for (CategoryRule& rule : rules) {
        const QString text = QString::fromStdString(rule.pattern);
        QRegularExpression expression;
        if (rule.how == CategoryRule::How::Matches) {
            expression.setPattern(text);
            expression.setPatternOptions(QRegularExpression::UseUnicodePropertiesOption);
            if (!expression.isValid())
                continue;
        }
        m_rules.push_back({.rule = std::move(rule), .text = text, .expression = expression});
    }
}

std::optional<std::string_view> CategoryRules::categoryOf(const Run& run) const
{
    for (const Compiled& compiled : m_rules) {
        const std::string* const text = textOf(run, compiled.rule.field);
        if (text == nullptr)
            continue;
        const QString subject = QString::fromStdString(*text);
        const bool fits = compiled.rule.how == CategoryRule::How::Contains
                              ? subject.contains(compiled.text, Qt::CaseInsensitive)
                              : compiled.expression.match(subject).hasMatch();
        if (fits)
            return compiled.rule.name;
    }
    return std::nullopt;
}

} // namespace service
