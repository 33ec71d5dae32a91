// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/web_process_search.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"
#include "platform/linux/atspi/page_rules.h"

#include <QTimer>

#include <utility>

namespace platform::atspi {

namespace {

// As many as may be asked at the same time; each shows the tabs of one site.
constexpr qsizetype kMostProcesses = 48;
constexpr qsizetype kMostObjects = 64;
constexpr qsizetype kMostChildren = 16;
constexpr int kDeepest = 3; // usual are two

bool isPageProcess(const QString& name)
{
    return name.startsWith(QLatin1StringView("org.gnome.Epiphany")) &&
           name.contains(QLatin1StringView(".WebProcess-"));
}

} // namespace

WebProcessSearch::WebProcessSearch(AccessibilityBus& bus, AccessibleObject browser, QString title)
    : m_bus(bus)
    , m_browser(std::move(browser))
    , m_title(std::move(title))
{
}

void WebProcessSearch::start()
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    opened(m_bus.call({.service = bus, .path = QStringLiteral("/org/freedesktop/DBus")},
                      bus,
                      QStringLiteral("ListNames"),
                      {},
                      this,
                      [this](const QDBusMessage& reply) {
                          askProcesses(textsIn(reply).value_or(QStringList()));
                          closed();
                      }));
    if (m_open == 0)
        QTimer::singleShot(0, this, [this] { Q_EMIT finished(std::nullopt); });
}

void WebProcessSearch::askProcesses(const QStringList& names)
{
    const QStringList processes = names.filter(QLatin1StringView(".WebProcess-"));
    if (processes.size() > kMostProcesses)
        return;
    for (const QString& name : processes) {
        if (!isPageProcess(name))
            continue;
        opened(m_bus.call({.service = name, .path = QStringLiteral("/org/a11y/atspi/cache")},
                          QStringLiteral("org.a11y.atspi.Cache"),
                          QStringLiteral("GetItems"),
                          {},
                          this,
                          [this](const QDBusMessage& reply) {
                              const auto objects = cachedObjectsIn(reply, kMostObjects);
                              for (const CachedObject& object :
                                   objects.value_or(QList<CachedObject>())) {
                                  // Where the browser has put the page into its window.
                                  if (object.parent.service == m_browser.service)
                                      descend(object.object, 0);
                              }
                              closed();
                          }));
    }
}

void WebProcessSearch::descend(const AccessibleObject& object, int depth)
{
    opened(m_bus.ask(
        object, QStringLiteral("GetRole"), this, [this, object, depth](const QDBusMessage& reply) {
            const std::optional<quint32> role = numberIn(reply);
            if (role == kRoleDocumentWeb)
                askDocument(object);
            else if (role && depth < kDeepest)
                opened(m_bus.ask(object,
                                 QStringLiteral("GetChildren"),
                                 this,
                                 [this, depth](const QDBusMessage& children) {
                                     const auto below = objectsIn(children, kMostChildren);
                                     if (below && !below->isEmpty())
                                         descend(below->constFirst(), depth + 1);
                                     closed();
                                 }));
            closed();
        }));
}

void WebProcessSearch::askDocument(const AccessibleObject& document)
{
    opened(m_bus.call(document,
                      QStringLiteral("org.a11y.atspi.Document"),
                      QStringLiteral("GetAttributes"),
                      {},
                      this,
                      [this](const QDBusMessage& reply) {
                          const auto attributes = attributesIn(reply);
                          if (attributes && attributes->value(QStringLiteral("Title")) == m_title) {
                              if (const auto address = addressAmong(*attributes))
                                  m_addresses.append(*address);
                          }
                          closed();
                      }));
}

void WebProcessSearch::opened(bool isAsked)
{
    m_open += isAsked ? 1 : 0;
}

void WebProcessSearch::closed()
{
    if (--m_open > 0)
        return;
    m_addresses.removeDuplicates();
    Q_EMIT finished(m_addresses.size() == 1 ? std::optional(m_addresses.constFirst())
                                            : std::nullopt);
}

} // namespace platform::atspi
