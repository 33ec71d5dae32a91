// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_messages.h"

#include "platform/linux/wayland/toplevel_list.h"

#include <QByteArray>
#include <QString>

#include <limits>

namespace platform::wayland {

namespace {

using simdjson::dom::element;

std::optional<std::string_view> text(const element& node, std::string_view key)
{
    std::string_view value;
    if (node[key].get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

std::optional<std::int64_t> number(const element& node, std::string_view key)
{
    element value;
    return node[key].get(value) == simdjson::SUCCESS ? wholeNumber(value) : std::nullopt;
}

bool hasFocus(const element& node)
{
    bool focused = false;
    return node["focused"].get(focused) == simdjson::SUCCESS && focused;
}

/// Windows under Wayland have an app id, those of X programs a class.
std::string_view appIdOf(const element& node)
{
    auto appId = text(node, "app_id");
    element properties;
    if (!appId && node["window_properties"].get(properties) == simdjson::SUCCESS)
        appId = text(properties, "class");
    return appId && appId->size() <= ToplevelList::kLongestAppId ? *appId : std::string_view();
}

/// Only windows have a process.
std::optional<SwayWindow> windowOf(const element& node)
{
    const auto process = number(node, "pid");
    if (!process || *process <= 0 || *process > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return SwayWindow{.processIdentifier = static_cast<std::int32_t>(*process),
                      .appId = std::string(appIdOf(node))};
}

/// The node that has the focus, at most as deep as the parser allows.
std::optional<element> focusedNode(const element& node)
{
    if (hasFocus(node))
        return node;
    for (const std::string_view kind : {"nodes", "floating_nodes"}) {
        simdjson::dom::array children;
        if (node[kind].get(children) != simdjson::SUCCESS)
            continue;
        for (const element child : children) {
            if (auto found = focusedNode(child))
                return found;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<SwayWindow> SwayMessages::focusedWindow(std::string_view tree)
{
    const auto root = parse(tree);
    const auto node = root ? focusedNode(*root) : std::nullopt;
    return node ? windowOf(*node) : std::nullopt;
}

std::optional<element> SwayMessages::parse(std::string_view json)
{
    element root;
    auto error = m_json.parse(json).get(root);
    if (error == simdjson::UTF8_ERROR) {
        const QByteArray mended =
            QString::fromUtf8(json.data(), static_cast<qsizetype>(json.size())).toUtf8();
        error = m_json.parse({mended.data(), static_cast<std::size_t>(mended.size())}).get(root);
    }
    return error == simdjson::SUCCESS ? std::optional(root) : std::nullopt;
}

} // namespace platform::wayland
