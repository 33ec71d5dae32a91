// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QList>
#include <QObject>

#include <optional>

class QDBusMessage;

namespace platform::atspi {

class AccessibilityBus;

/// One look at a window of Firefox or its kin for what marks a private one: an object among its
/// toolbars whose class begins with "private-browsing-indicator", whatever the language.
/// Destroying it ends it. Main thread.
class PrivateWindowCheck final : public QObject
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    PrivateWindowCheck(AccessibilityBus& bus, const AccessibleObject& window);

    /// Asks; finished() comes later, or at once when nothing can be asked.
    void start();

Q_SIGNALS:
    /// None when it could not be decided: the toolbars are not all there, something has not
    /// answered, or there is more in the window than in any browser's.
    void finished(std::optional<bool> isPrivate);

private:
    struct Place
    {
        AccessibleObject object;
        int depth = 0;
    };

    void next();
    void askForRole(const Place& place);
    void askForAttributes(const Place& place);
    void askForChildren(const Place& place);
    void opened(bool isAsked);
    void closed();
    void finish(std::optional<bool> isPrivate);

    AccessibilityBus& m_bus;
    QList<Place> m_places;
    int m_seen = 0;
    int m_open = 0;
    bool m_hasFailed = false;
    bool m_hasNavigation = false;
    bool m_isFinished = false;
};

} // namespace platform::atspi
