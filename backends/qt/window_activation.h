// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/app_activation.h"

#include <QObject>
#include <QPointer>
#include <QWindow>

#include <memory>
#include <vector>

namespace platform::gui {

/// Under Wayland the toolkit loads OpenGL and what draws it, some 50 MB, for windows that are drawn
/// without. It can be told not to by the environment alone; programs that we start are not to see
/// that. So this exists while the application object is made.
/// Main thread, before other threads.
class WithoutOpenGL final
{
public:
    /// Says so, unless the user has a say in it.
    WithoutOpenGL();
    WithoutOpenGL(const WithoutOpenGL&) = delete;
    WithoutOpenGL& operator=(const WithoutOpenGL&) = delete;
    /// Takes it back once the toolkit has looked. Needs the application object.
    ~WithoutOpenGL();

private:
    bool m_isSet;
};

class X11WindowHints;

/// The toolkit's windows on the user's screen. Keeps an eye on all of them while there are any;
/// without any, the process's timers may be late.
/// Main thread, with an application.
class WindowActivation final : public QObject, public AppActivation
{
    Q_OBJECT

public:
    WindowActivation();
    ~WindowActivation() override;
    WindowActivation(const WindowActivation&) = delete;
    WindowActivation& operator=(const WindowActivation&) = delete;

    [[nodiscard]] bool hasWindows() const { return m_hasWindows; }

    void setHasWindows(bool hasWindows) override;
    void windowAskedFor(QWindow& window) override;
    void activateIgnoringOtherApps(const ActivationToken& token) override;
    void setActivationPolicy(ActivationPolicy policy) override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void applyPolicy(const QWindow& window) const;
    void bringForward(QWindow& window);
    void noteUse(QWindow& window);
    [[nodiscard]] QWindow* usedLast() const;

    std::unique_ptr<X11WindowHints> m_x11; // none on other desktops
    bool m_hasWindows = false;
    ActivationPolicy m_policy = ActivationPolicy::Accessory;
    std::vector<QPointer<QWindow>> m_used; // shown, asked for or used; the last one at the end
    QPointer<QWindow> m_asked;     // the last one, and the user has not turned elsewhere since
    bool m_hasComeForward = false; // m_asked has had the focus since
    std::vector<QPointer<QWindow>> m_awaitingFocus; // asked for, and have not
    QPointer<QWindow> m_awaited;                    // to be brought forward once it is on screen
};

} // namespace platform::gui
