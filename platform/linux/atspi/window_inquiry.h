// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"
#include "platform/linux/desktop/front_window.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

namespace platform::atspi {

class AccessibilityBus;

/// One question for what is known of a window. Destroying it takes the question back.
/// Main thread.
class WindowInquiry final : public QObject
{
    Q_OBJECT

public:
    /// `bus` must outlive this.
    WindowInquiry(AccessibilityBus& bus, AccessibleObject window);

    /// Asks; finished() comes later.
    void start();

Q_SIGNALS:
    /// What the window is, with the number 0; none when its program has not answered, or has
    /// answered that it is no application's window.
    void finished(const std::optional<platform::desktop::FrontWindow>& window);

private:
    void expect(bool isAsked);
    void settle();
    void fail();
    [[nodiscard]] bool isApplication() const;

    AccessibilityBus& m_bus;
    AccessibleObject m_window;
    int m_open = 0;
    bool m_hasFailed = false;
    QString m_title;
    QString m_program;
    quint32 m_process = 0;
    quint32 m_role = 0;
    QString m_type;
};

} // namespace platform::atspi
