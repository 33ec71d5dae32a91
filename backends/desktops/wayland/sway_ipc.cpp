// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/sway_ipc.h"

#include "backends/desktops/choice/sources.h"
#include "backends/desktops/wayland/wayland_connection.h"
#include "base/strict_json.h"

#include <QUtf8StringView>

#include <array>
#include <cstring>
#include <limits>
#include <simdjson.h>
#include <utility>

namespace platform::wayland {

using simdjson::dom::element;

namespace {

constexpr qint64 kPieceSize = 65536;
constexpr std::string_view kMagic = "i3-ipc";
constexpr std::uint32_t kGetTree = 4;

/// What stands before the payload.
using Header = std::array<char, kMagic.size() + 2 * sizeof(std::uint32_t)>;

Header headerOf(std::uint32_t length, std::uint32_t type)
{
    Header header{};
    kMagic.copy(header.data(), kMagic.size());
    std::memcpy(&header[kMagic.size()], &length, sizeof length);
    std::memcpy(&header[kMagic.size() + sizeof length], &type, sizeof type);
    return header;
}

std::optional<std::string_view> text(const element& node, std::string_view key)
{
    std::string_view value;
    if (node[key].get(value) != simdjson::SUCCESS)
        return std::nullopt;
    return value;
}

/// Windows under Wayland have an app id, those of X programs a class.
std::string_view appIdOf(const element& node)
{
    auto appId = text(node, "app_id");
    element properties;
    if (!appId && node["window_properties"].get(properties) == simdjson::SUCCESS)
        appId = text(properties, "class");
    return appId && appId->size() <= desktop::kLongestIdentifier ? *appId : std::string_view();
}

/// Only windows have a process.
std::optional<SwayWindow> windowOf(const element& node)
{
    element pid;
    if (node["pid"].get(pid) != simdjson::SUCCESS)
        return std::nullopt;
    const auto process = wholeNumber(pid);
    if (!process || *process <= 0 || *process > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return SwayWindow{.processIdentifier = static_cast<std::int32_t>(*process),
                      .appId = std::string(appIdOf(node))};
}

/// The node that has the focus, at most as deep as the parser allows.
std::optional<element> focusedNode(const element& node)
{
    bool hasFocus = false;
    if (node["focused"].get(hasFocus) == simdjson::SUCCESS && hasFocus)
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

std::optional<SwayWindow> focusedSwayWindow(std::string_view tree)
{
    StrictJson json;
    const element* root = json.parse(tree);
    if (root == nullptr && !QUtf8StringView(tree).isValidUtf8()) {
        const QByteArray mended = QUtf8StringView(tree).toString().toUtf8();
        root = json.parse({mended.data(), static_cast<std::size_t>(mended.size())});
    }
    const auto node = root != nullptr ? focusedNode(*root) : std::nullopt;
    return node ? windowOf(*node) : std::nullopt;
}

SwayIpc::SwayIpc(QString path)
    : m_path(std::move(path))
{
    m_socket.setReadBufferSize(kPieceSize);
    connect(&m_socket, &QLocalSocket::connected, this, [this] {
        const Header question = headerOf(0, kGetTree);
        m_socket.write(question.data(), question.size());
    });
    connect(&m_socket, &QLocalSocket::readyRead, this, &SwayIpc::readSocket);
    connect(&m_socket, &QLocalSocket::errorOccurred, this, [this] {
        qCInfo(lcWayland) << "sway cannot be asked:" << m_socket.errorString();
    });
}

SwayIpc::~SwayIpc()
{
    // Its end is no news any more.
    m_socket.disconnect(this);
}

void SwayIpc::ask()
{
    m_socket.abort();
    m_bytes.clear();
    m_socket.connectToServer(m_path);
}

void SwayIpc::readSocket()
{
    m_bytes += m_socket.read(kPieceSize);
    Header header{};
    if (m_bytes.size() < static_cast<qsizetype>(header.size()))
        return;
    std::memcpy(header.data(), m_bytes.constData(), header.size());
    std::uint32_t length = 0;
    std::memcpy(&length, &header[kMagic.size()], sizeof length);
    const bool isTree = header == headerOf(length, kGetTree) && length <= kLongestPayload;
    const std::string_view payload(m_bytes.constData() + header.size(),
                                   static_cast<std::size_t>(m_bytes.size()) - header.size());
    if (isTree && payload.size() < length)
        return;
    m_socket.abort();
    if (isTree)
        Q_EMIT answered(focusedSwayWindow(payload.substr(0, length)));
    else
        qCWarning(lcWayland) << "sway answered with something else";
    m_bytes.clear();
}

} // namespace platform::wayland
