// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/page_addresses/browser_script_runner.h"

#include <QByteArray>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <optional>

namespace platform::atspi {

/// A page that was found.
struct FoundPage
{
    QString address;
    AccessibleObject frame;
    std::optional<AccessibleObject> document; ///< None when another process shows the page.
};

/// Addresses as browsers tell assistive programs: GNOME Web, and browsers of the Chromium family
/// where they were started for that. Not those of private windows. Firefox and its kin are never
/// asked: their private windows cannot be told with certainty.
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

    /// As in the interface. What was found for exactly this process and title by a search that
    /// began after they were first asked for, if it or the last look at it ended at most two
    /// seconds ago.
    [[nodiscard]] std::optional<QString> addressIn(const browsers::FrontBrowser& front) override;

    [[nodiscard]] QString state() const override;

private:
    void forget();
    QCoro::Task<> search();
    QCoro::Task<> lookAgain(FoundPage page, AccessibleObject document);

    AccessibilityBus& m_bus;
    browsers::FrontBrowser m_front;
    /// The browser in front, or the last one that was. It need not be searched for again while it
    /// is there and answers.
    std::optional<AccessibleObject> m_program;
    std::int32_t m_programProcess = 0;
    /// There while a search or a look runs.
    SearchToken m_search;
    std::optional<FoundPage> m_page;
    QElapsedTimer m_found;
    QElapsedTimer m_begun;
    QElapsedTimer m_searched;
    QTimer m_retry;
    int m_retriesLeft = 0;
};

// The rules by which an address belongs to a window. Any thread.

/// Whether a document of the title `page` may be what is on show in a window of the Chromium family
/// of the title `window`: it begins with the page's title, of which only the beginning counts, and
/// no bracket follows: the names of private windows end with a remark in brackets in every
/// language.
[[nodiscard]] bool mayShow(const QString& window, const QString& page);

/// The address among the attributes of a document; none when there is none or it is longer than any
/// that is handed on.
[[nodiscard]] std::optional<QString> addressAmong(const Attributes& attributes);

/// Whether this command line, as the kernel tells it, is that of a GNOME Web that keeps a history.
/// Its private windows are a process of their own, which nothing but an option tells from others;
/// an option that is not known to be harmless counts as one of these.
[[nodiscard]] bool isGnomeWebWithHistory(const QByteArray& commandLine);

} // namespace platform::atspi
