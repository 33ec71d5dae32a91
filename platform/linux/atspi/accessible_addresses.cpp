// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessible_addresses.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"
#include "platform/linux/atspi/page_rules.h"
#include "platform/linux/atspi/page_search.h"

#include <chrono>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kFresh{2000};
// Callers ask once a second, and may ask several times at once.
constexpr std::chrono::milliseconds kLeast{500};
constexpr std::chrono::milliseconds kLongestSearch{3000};
constexpr std::chrono::milliseconds kBetweenSearches = std::chrono::seconds(10);
// A browser may tell of a new title a moment later than the desktop.
constexpr std::chrono::milliseconds kRetry{150};
constexpr int kRetries = 4;

} // namespace

AccessibleAddresses::AccessibleAddresses(AccessibilityBus& bus)
    : m_bus(bus)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(kRetry);
    connect(&m_retry, &QTimer::timeout, this, &AccessibleAddresses::search);
    connect(&m_bus, &AccessibilityBus::changed, this, [this] {
        forget();
        m_memory.clear();
    });
}

AccessibleAddresses::~AccessibleAddresses() = default;

std::optional<QString> AccessibleAddresses::addressIn(const browsers::FrontBrowser& front)
{
    if (!(front == m_front)) {
        forget();
        m_front = front;
    }
    if (!m_bus.isOn() || front.processIdentifier <= 0 || front.windowTitle.isEmpty())
        return std::nullopt;
    if (m_search && m_begun.hasExpired(kLongestSearch.count()))
        m_search.reset();
    const bool isDue = !m_begun.isValid() || m_begun.hasExpired(kLeast.count());
    if (!m_search && !m_look && !m_retry.isActive() && isDue) {
        const std::optional<FoundPage> page = m_page;
        if (page && page->document && !m_searched.hasExpired(kBetweenSearches.count()))
            lookAgain(*page, *page->document);
        else
            search();
    }
    const bool isFresh = m_found.isValid() && !m_found.hasExpired(kFresh.count());
    return isFresh && m_page ? std::optional(m_page->address) : std::nullopt;
}

QString AccessibleAddresses::state() const
{
    return m_bus.isOn() ? QStringLiteral("accessibility bus: on")
                        : QStringLiteral("accessibility bus: accessibility is off");
}

void AccessibleAddresses::forget()
{
    m_front = {};
    m_search.reset();
    m_look.reset();
    m_retry.stop();
    m_retriesLeft = kRetries;
    m_page.reset();
    m_found.invalidate();
    m_begun.invalidate();
}

void AccessibleAddresses::search()
{
    m_begun.start();
    m_searched.start();
    m_search = std::make_unique<PageSearch>(m_bus, m_memory, m_history, m_front);
    connect(
        m_search.get(), &PageSearch::finished, this, [this](const std::optional<FoundPage>& page) {
            m_search.release()->deleteLater(); // it is what calls
            take(page);
        });
    m_search->start();
}

/// A page may come without a new title, and another document may have the title of this one.
void AccessibleAddresses::lookAgain(const FoundPage& page, const AccessibleObject& document)
{
    m_begun.start();
    auto asker = std::make_unique<QObject>();
    const auto settle = [this, open = std::make_shared<int>(2)](bool holds) {
        if (holds && --*open > 0)
            return;
        m_look.reset();
        if (holds) {
            m_found.start();
        } else {
            m_page.reset();
            search();
        }
    };
    const bool isAsked = m_bus.ask(page.frame,
                                   QStringLiteral("GetRelationSet"),
                                   asker.get(),
                                   [document, settle](const QDBusMessage& reply) {
                                       const auto documents = relatedIn(reply, kRelationEmbeds);
                                       settle(documents && !documents->isEmpty() &&
                                              documents->constFirst() == document);
                                   }) &&
                         m_bus.call(document,
                                    QStringLiteral("org.a11y.atspi.Document"),
                                    QStringLiteral("GetAttributes"),
                                    {},
                                    asker.get(),
                                    [address = page.address, settle](const QDBusMessage& reply) {
                                        const auto attributes = attributesIn(reply);
                                        settle(attributes && addressAmong(*attributes) == address);
                                    });
    if (isAsked)
        m_look = std::move(asker);
    else
        search();
}

void AccessibleAddresses::take(const std::optional<FoundPage>& page)
{
    m_page = page;
    m_found.start();
    if (page || m_retriesLeft == 0)
        return;
    --m_retriesLeft;
    m_retry.start();
}

} // namespace platform::atspi
