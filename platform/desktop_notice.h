// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

namespace platform {

/// What the user should know about this desktop: that something cannot be seen on it, and what
/// would mend that.
/// Main thread.
class DesktopNotice : public QObject
{
    Q_OBJECT

public:
    DesktopNotice() = default;
    DesktopNotice(const DesktopNotice&) = delete;
    DesktopNotice& operator=(const DesktopNotice&) = delete;
    ~DesktopNotice() override = default;

    /// Whole sentences; empty where everything is seen, and while that is being found out.
    [[nodiscard]] virtual QString notice() const = 0;

Q_SIGNALS:
    void noticeChanged();
};

} // namespace platform
