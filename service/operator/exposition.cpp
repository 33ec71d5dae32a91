// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/exposition.h"

#include <array>
#include <charconv>

namespace service {

namespace {

void appendEscaped(std::string& out, std::string_view text, bool inQuotes)
{
    for (const char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\\' || (c == '"' && inQuotes))
            (out += '\\') += c;
        else
            out += c;
    }
}

} // namespace

void Exposition::family(std::string_view name, std::string_view type, std::string_view help)
{
    m_name = name;
    m_text += "# HELP " + m_name + ' ';
    appendEscaped(m_text, help, false);
    m_text += "\n# TYPE " + m_name + ' ';
    m_text += type;
    m_text += '\n';
}

void Exposition::sample(double value, Labels labels, std::string_view suffix)
{
    std::array<char, 32> text = {};
    auto* const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    append({text.data(), end}, labels, suffix);
}

void Exposition::sample(std::uint64_t value, Labels labels, std::string_view suffix)
{
    append(std::to_string(value), labels, suffix);
}

void Exposition::sample(std::int64_t value, Labels labels, std::string_view suffix)
{
    append(std::to_string(value), labels, suffix);
}

void Exposition::append(std::string_view value, Labels labels, std::string_view suffix)
{
    m_text += m_name;
    m_text += suffix;
    char before = '{';
    for (const auto& [name, text] : labels) {
        m_text += before;
        m_text += name;
        m_text += "=\"";
        appendEscaped(m_text, text, true);
        m_text += '"';
        before = ',';
    }
    m_text += before == ',' ? "} " : " ";
    m_text += value;
    m_text += '\n';
}

} // namespace service
