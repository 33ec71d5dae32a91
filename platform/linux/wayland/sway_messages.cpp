// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_messages.h"

#include "platform/linux/wayland/toplevel_list.h"

#include <QByteArray>
#include <QString>
#include <QUtf8StringView>

#include <iterator>
#include <limits>
#include <simdjson.h>

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
    const element* root = m_json.parse(tree);
    if (root == nullptr && !QUtf8StringView(tree.data(), std::ssize(tree)).isValidUtf8()) {
        const QByteArray mended = QString::fromUtf8(tree.data(), std::ssize(tree)).toUtf8();
        root = m_json.parse({mended.data(), static_cast<std::size_t>(mended.size())});
    }
    const auto node = root != nullptr ? focusedNode(*root) : std::nullopt;
    return node ? windowOf(*node) : std::nullopt;
}

} // namespace platform::wayland
