// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/window_factory.h"

#include <QObject>
#include <QPointer>

#include <functional>

namespace platform {
class AppActivation;
}

namespace views {

class WindowView;

/// A window of the shell, made of a view. Main thread.
class QmlWindow final : public QObject, public shell::ShellWindow
{
    Q_OBJECT

public:
    /// Owns `view`. `closed` is called once, from the event loop, when the user has closed it.
    /// `activation` must outlive it.
    QmlWindow(WindowView* view, platform::AppActivation& activation, std::function<void()> closed);
    QmlWindow(const QmlWindow&) = delete;
    QmlWindow& operator=(const QmlWindow&) = delete;

    /// Takes the window off the screen at once. What it is made of goes with the next turn of the
    /// event loop, since the view may be what asks for it.
    ~QmlWindow() override;

    void present() override;
    [[nodiscard]] bool isVisible() const override;
    [[nodiscard]] bool isInUse() const override;

private:
    QPointer<WindowView> m_view;
    platform::AppActivation& m_activation;
};

} // namespace views
