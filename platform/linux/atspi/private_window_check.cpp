// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/private_window_check.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"

#include <algorithm>
#include <array>

namespace platform::atspi {

namespace {

// Usual are 70 objects, three deep, without menus and tabs.
constexpr int kDeepest = 6;
constexpr int kMostObjects = 600;
constexpr qsizetype kMostChildren = 200;
constexpr int kAtOnce = 16;

/// Whether toolbars may be below it.
bool isSearched(quint32 role)
{
    constexpr std::array kWithout{
        kRoleMenu, kRoleMenuBar, kRolePageTabList, kRoleInternalFrame, kRoleDocumentWeb};
    return std::ranges::find(kWithout, role) == kWithout.end();
}

} // namespace

PrivateWindowCheck::PrivateWindowCheck(AccessibilityBus& bus, const AccessibleObject& window)
    : m_bus(bus)
    , m_places{{.object = window, .depth = 0}}
{
}

void PrivateWindowCheck::start()
{
    next();
}

void PrivateWindowCheck::next()
{
    while (m_open < kAtOnce && !m_places.isEmpty() && !m_hasFailed)
        askForRole(m_places.takeFirst());
    if (m_hasFailed)
        finish(std::nullopt);
    else if (m_open == 0)
        finish(m_hasNavigation ? std::optional(false) : std::nullopt);
}

void PrivateWindowCheck::askForRole(const Place& place)
{
    opened(m_bus.ask(
        place.object, QStringLiteral("GetRole"), this, [this, place](const QDBusMessage& reply) {
            const std::optional<quint32> role = numberIn(reply);
            m_hasFailed |= !role;
            if (role && isSearched(*role))
                askForAttributes(place);
            closed();
        }));
}

void PrivateWindowCheck::askForAttributes(const Place& place)
{
    opened(m_bus.ask(place.object,
                     QStringLiteral("GetAttributes"),
                     this,
                     [this, place](const QDBusMessage& reply) {
                         const auto attributes = attributesIn(reply);
                         m_hasFailed |= !attributes;
                         if (attributes &&
                             attributes->value(QStringLiteral("class"))
                                 .startsWith(QLatin1StringView("private-browsing-indicator"))) {
                             finish(true);
                             return;
                         }
                         m_hasNavigation |= attributes && attributes->value(QStringLiteral("id")) ==
                                                              QLatin1StringView("nav-bar");
                         if (attributes)
                             askForChildren(place);
                         closed();
                     }));
}

void PrivateWindowCheck::askForChildren(const Place& place)
{
    opened(m_bus.ask(place.object,
                     QStringLiteral("GetChildren"),
                     this,
                     [this, place](const QDBusMessage& reply) {
                         const auto children = objectsIn(reply, kMostChildren);
                         m_seen += static_cast<int>(children ? children->size() : 0);
                         const bool isTooDeep =
                             children && !children->isEmpty() && place.depth == kDeepest;
                         m_hasFailed |= !children || isTooDeep || m_seen > kMostObjects;
                         for (const AccessibleObject& child :
                              children.value_or(QList<AccessibleObject>()))
                             m_places.append({.object = child, .depth = place.depth + 1});
                         closed();
                     }));
}

void PrivateWindowCheck::opened(bool isAsked)
{
    m_open += isAsked ? 1 : 0;
    m_hasFailed |= !isAsked;
}

void PrivateWindowCheck::closed()
{
    --m_open;
    if (!m_isFinished)
        next();
}

void PrivateWindowCheck::finish(std::optional<bool> isPrivate)
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    Q_EMIT finished(isPrivate);
}

} // namespace platform::atspi
