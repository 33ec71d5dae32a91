// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"
#include "platform/linux/gui/x11_window_hints.h"

#include <QObject>
#include <QPointer>
#include <QWindow>

#include <memory>

namespace platform::gui {

/// The toolkit's windows on the user's screen. Keeps an eye on all of them.
/// Main thread, with an application.
class WindowActivation final : public QObject, public AppActivation
{
    Q_OBJECT

public:
    WindowActivation();

    void activateIgnoringOtherApps(const ActivationToken& token) override;
    void setActivationPolicy(ActivationPolicy policy) override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void applyPolicy(const QWindow& window) const;
    void bringForward(QWindow& window);

    std::unique_ptr<X11WindowHints> m_x11; // none on other desktops
    ActivationPolicy m_policy = ActivationPolicy::Accessory;
    QPointer<QWindow> m_last;    // shown or used last
    QPointer<QWindow> m_awaited; // to be brought forward once it is on screen
};

} // namespace platform::gui
