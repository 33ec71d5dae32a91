// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "shell/window_router.h"

#include <QStringList>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace support {

/// Windows that only take note of what happens to them.
class RecordingWindows final : public shell::WindowFactory
{
public:
    [[nodiscard]] std::unique_ptr<shell::ShellWindow> create(const shell::Scene& scene,
                                                             std::function<void()> closed) override
    {
        events.append(QStringLiteral("create ") + scene.identifier);
        auto window = std::make_unique<Window>(*this, scene.identifier, std::move(closed));
        m_open.push_back(window.get());
        return window;
    }

    /// The identifiers of the windows that are there, in the order they were made.
    [[nodiscard]] QStringList open() const
    {
        QStringList identifiers;
        for (const Window* window : m_open)
            identifiers.append(window->identifier);
        return identifiers;
    }

    /// The user closes, minimises the window.
    void close(const QString& identifier)
    {
        const std::function<void()> closed = find(identifier).closed;
        closed();
    }

    void minimise(const QString& identifier) { find(identifier).isOnScreen = false; }

    /// The user types something in the window.
    void use(const QString& identifier) { find(identifier).isUsed = true; }

    QStringList events;

private:
    struct Window final : shell::ShellWindow
    {
        Window(RecordingWindows& all, QString name, std::function<void()> whenClosed)
            : owner(all)
            , identifier(std::move(name))
            , closed(std::move(whenClosed))
        {
        }

        Window(const Window&) = delete;
        Window& operator=(const Window&) = delete;

        ~Window() override
        {
            owner.events.append(QStringLiteral("destroy ") + identifier);
            std::erase(owner.m_open, this);
        }

        void present() override
        {
            isOnScreen = true;
            owner.events.append(QStringLiteral("present ") + identifier);
        }

        [[nodiscard]] bool isVisible() const override { return isOnScreen; }

        [[nodiscard]] bool isInUse() const override { return isUsed; }

        RecordingWindows& owner;
        QString identifier;
        std::function<void()> closed;
        bool isOnScreen = false;
        bool isUsed = false;
    };

    Window& find(const QString& identifier)
    {
        return **std::ranges::find(m_open, identifier, &Window::identifier);
    }

    std::vector<Window*> m_open;
};

} // namespace support
