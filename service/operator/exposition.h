// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace service {

/// Writes figures in the text format of Prometheus, version 0.0.4. One thread.
class Exposition final
{
public:
    using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    /// What follows until the next one are samples of `name`. `type`: counter, gauge, histogram.
    void family(std::string_view name, std::string_view type, std::string_view help);

    /// A sample of the family; `suffix` as histograms have them ("_bucket").
    void sample(double value, Labels labels = {}, std::string_view suffix = {});
    void sample(std::uint64_t value, Labels labels = {}, std::string_view suffix = {});
    void sample(std::int64_t value, Labels labels = {}, std::string_view suffix = {});

    [[nodiscard]] std::string takeText() { return std::move(m_text); }

private:
    void append(std::string_view value, Labels labels, std::string_view suffix);

    std::string m_name;
    std::string m_text;
};

} // namespace service
