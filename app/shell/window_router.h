// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "app/shell/window_factory.h"

#include <QString>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace shell {

/// The windows by their identifiers: at most one each, made when it is asked for and destroyed when
/// it is closed.
/// Main thread.
class WindowRouter final
{
public:
    WindowRouter() = default;
    WindowRouter(const WindowRouter&) = delete;
    WindowRouter& operator=(const WindowRouter&) = delete;
    ~WindowRouter();

    /// The factory must outlive its windows; see closeAll(). Without one no window opens.
    void setFactory(WindowFactory* factory) { m_factory = factory; }

    /// `watcher` is told of the first window before it is made, and of there being none any more
    /// after the last one has gone.
    void setWatcher(std::function<void(bool hasWindows)> watcher)
    {
        m_watcher = std::move(watcher);
    }

    [[nodiscard]] bool hasWindows() const { return !m_open.empty(); }

    /// Opens the window of the scene `identifier`, or brings the one that is there to the front.
    /// An unknown identifier opens nothing.
    void openWindow(const QString& identifier);

    void openSettings();

    /// Closes the window of the scene `identifier`; nothing happens when there is none. A window
    /// may ask for its own end: it is destroyed with the next turn of the event loop at the latest.
    void dismissWindow(const QString& identifier);

    [[nodiscard]] bool isOpen(const QString& identifier) const;

    /// True when the window of the scene `identifier` is there and in use.
    [[nodiscard]] bool isInUse(const QString& identifier) const;

    [[nodiscard]] bool hasVisibleWindows() const;

    /// Whether of the windows that are there the one of the scene `identifier` was opened or asked
    /// for last.
    [[nodiscard]] bool isAskedForLast(const QString& identifier) const;

    void closeAll();

private:
    struct Open
    {
        QString identifier;
        std::unique_ptr<ShellWindow> window;
    };

    void tellOfTheLast() const;

    WindowFactory* m_factory = nullptr;
    std::function<void(bool)> m_watcher;
    std::vector<Open> m_open; // the one asked for last at the end
};

} // namespace shell
