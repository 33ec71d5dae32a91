// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// One search for the page that a window of GNOME Web shows, among the processes that draw its
/// pages. Destroying it ends it. Main thread.
class WebProcessSearch final : public QObject
{
    Q_OBJECT

public:
    /// `browser` is the program that the window belongs to. `bus` must outlive this.
    WebProcessSearch(AccessibilityBus& bus, AccessibleObject browser, QString title);

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    /// The address of the page that has the window's title; none when there is no such page, or
    /// several have it.
    void finished(const std::optional<QString>& address);

private:
    void askProcesses(const QStringList& names);
    void descend(const AccessibleObject& object, int depth);
    void askDocument(const AccessibleObject& document);
    void opened(bool isAsked);
    void closed();

    AccessibilityBus& m_bus;
    AccessibleObject m_browser;
    QString m_title;
    QStringList m_addresses;
    int m_open = 0;
};

} // namespace platform::atspi
