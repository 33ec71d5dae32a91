// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/http/routes.h"

#include "base/ascii.h"

#include <optional>

namespace service {

namespace {

/// Cuts the first segment off `path`, which begins with a slash.
std::string_view nextSegment(std::string_view& path)
{
    const std::size_t end = path.find('/', 1);
    const bool isLast = end == std::string_view::npos;
    const std::string_view segment = path.substr(1, isLast ? end : end - 1);
    path.remove_prefix(isLast ? path.size() : end);
    return segment;
}

/// Nothing for a percent sign without two digits behind it.
std::optional<std::string> decoded(std::string_view segment)
{
    std::string text;
    for (std::size_t i = 0; i < segment.size(); ++i) {
        if (segment[i] != '%') {
            text += segment[i];
            continue;
        }
        const auto high = platform::hexDigitValue(i + 1 < segment.size() ? segment[i + 1] : ' ');
        const auto low = platform::hexDigitValue(i + 2 < segment.size() ? segment[i + 2] : ' ');
        if (!high || !low)
            return std::nullopt;
        text += static_cast<char>(*high * 16 + *low);
        i += 2;
    }
    return text;
}

/// What stands at the places of `pattern` in `path`; nothing when that is another path.
std::optional<std::vector<std::string>> matched(std::string_view pattern, std::string_view path)
{
    std::vector<std::string> parameters;
    while (!pattern.empty() && !path.empty()) {
        const std::string_view wanted = nextSegment(pattern);
        const std::string_view segment = nextSegment(path);
        if (!wanted.starts_with('{')) {
            if (wanted != segment)
                return std::nullopt;
            continue;
        }
        std::optional<std::string> text = decoded(segment);
        if (!text || text->empty())
            return std::nullopt;
        parameters.push_back(*std::move(text));
    }
    if (!pattern.empty() || !path.empty())
        return std::nullopt;
    return parameters;
}

} // namespace

RouteTable::Match RouteTable::find(std::string_view method, std::string_view path) const
{
    Match match;
    if (!path.starts_with('/'))
        return match;
    const auto allow = [&match](std::string_view name) {
        match.allowed += (match.allowed.empty() ? "" : ", ") + std::string(name);
    };
    for (const Route& route : m_routes) {
        auto parameters = matched(route.pattern, path);
        if (!parameters)
            continue;
        const bool isGet = route.method == "GET";
        allow(route.method);
        if (isGet)
            allow("HEAD");
        if (match.route == nullptr && (route.method == method || (isGet && method == "HEAD"))) {
            match.route = &route;
            match.parameters = *std::move(parameters);
        }
    }
    return match;
}

} // namespace service
