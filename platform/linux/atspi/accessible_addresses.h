// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/browser_memory.h"
#include "platform/linux/atspi/firefox_history.h"
#include "platform/linux/atspi/page_search.h"
#include "platform/linux/browsers/address_source.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// Addresses as browsers tell assistive programs: Firefox and its kin, GNOME Web, and browsers of
/// the Chromium family where they were started for that. Not those of private windows.
/// Asks by and by: a search begins at a call, its answer is given at a later one. What was found is
/// only looked at again at the next calls, for ten seconds: whether its window still shows that
/// document, and the document that page.
/// Main thread, with an event loop.
class AccessibleAddresses final : public QObject, public browsers::AddressSource
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    explicit AccessibleAddresses(AccessibilityBus& bus);
    AccessibleAddresses(const AccessibleAddresses&) = delete;
    AccessibleAddresses& operator=(const AccessibleAddresses&) = delete;
    ~AccessibleAddresses() override;

    /// As in the interface. What was found for exactly this process and title by a search that
    /// began after they were first asked for, if it or the last look at it ended at most two
    /// seconds ago.
    [[nodiscard]] std::optional<QString> addressIn(const browsers::FrontBrowser& front) override;

    [[nodiscard]] QString state() const override;

private:
    void forget();
    void search();
    void lookAgain(const FoundPage& page, const AccessibleObject& document);
    void take(const std::optional<FoundPage>& page);

    AccessibilityBus& m_bus;
    BrowserMemory m_memory;
    FirefoxHistory m_history;
    browsers::FrontBrowser m_front;
    std::unique_ptr<PageSearch> m_search;
    std::unique_ptr<QObject> m_look; // owns the questions of one
    std::optional<FoundPage> m_page;
    QElapsedTimer m_found;
    QElapsedTimer m_begun;
    QElapsedTimer m_searched;
    QTimer m_retry;
    int m_retriesLeft = 0;
};

} // namespace platform::atspi
