// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"
#include "platform/linux/browsers/address_source.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace platform::atspi {

class AccessibilityBus;
class BrowserMemory;
class FirefoxHistory;
class FrameSearch;
class PrivateWindowCheck;
class ProgramSearch;
class WebProcessSearch;

/// A page that was found.
struct FoundPage
{
    QString address;
    AccessibleObject frame;
    std::optional<AccessibleObject> document; ///< None when another process shows the page.
};

/// One search for the address of the page in a browser's window: the program that is the window's
/// process, its window of exactly this title, the document that is on show there. Destroying it
/// ends it. Main thread.
class PageSearch final : public QObject
{
    Q_OBJECT

public:
    /// All but `front` must outlive this.
    PageSearch(AccessibilityBus& bus,
               BrowserMemory& memory,
               FirefoxHistory& history,
               browsers::FrontBrowser front);
    PageSearch(const PageSearch&) = delete;
    PageSearch& operator=(const PageSearch&) = delete;
    ~PageSearch() override;

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    /// None when the window is private, or anything is in doubt.
    void finished(const std::optional<platform::atspi::FoundPage>& page);

private:
    void findFrame(const AccessibleObject& program);
    void findDocument(const AccessibleObject& frame);
    void checkPrivacy(const AccessibleObject& document);
    void findWebProcess();
    void askDocument(const AccessibleObject& document);
    void askTitle(const AccessibleObject& document, const QString& address);
    void askFrameAgain(const QString& address);
    void give(bool isAsked);
    void finish(const std::optional<QString>& address);

    AccessibilityBus& m_bus;
    BrowserMemory& m_memory;
    FirefoxHistory& m_history;
    browsers::FrontBrowser m_front;
    AccessibleObject m_program;
    AccessibleObject m_frame;
    std::optional<AccessibleObject> m_document;
    std::unique_ptr<ProgramSearch> m_programSearch;
    std::unique_ptr<FrameSearch> m_frameSearch;
    std::unique_ptr<PrivateWindowCheck> m_check;
    std::unique_ptr<WebProcessSearch> m_webProcesses;
};

} // namespace platform::atspi
