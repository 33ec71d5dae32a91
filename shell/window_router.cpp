// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "shell/window_router.h"

#include "base/build_config.h"
#include "platform/app_activation.h"

#include <algorithm>
#include <utility>

namespace shell {

Q_LOGGING_CATEGORY(lcShell, "velomira.shell", QtCriticalMsg)

const std::vector<Scene>& scenes()
{
    static const std::vector<Scene> all{
        {.kind = Scene::Kind::MenuBarExtra,
         .identifier = {},
         .title = QStringLiteral("Velomira"),
         .symbol = QStringLiteral("chart.bar.fill"),
         .defaultSize = {},
         .handlesExternalEventsMatching = {}},
        {.kind = Scene::Kind::WindowGroup,
         .identifier = kDashboardWindow,
         .title = QStringLiteral("Dashboard"),
         .symbol = {},
         .defaultSize = QSize(800, 600),
         .handlesExternalEventsMatching = {QStringLiteral("dashboard")}},
        {.kind = Scene::Kind::WindowGroup,
         .identifier = kLoginWindow,
         .title = QStringLiteral("Login"),
         .symbol = {},
         .defaultSize = {},
         .handlesExternalEventsMatching = {QStringLiteral("login")}},
        {.kind = Scene::Kind::Settings,
         .identifier = kSettingsWindow,
         .title = QStringLiteral("Settings"),
         .symbol = {},
         .defaultSize = {},
         .handlesExternalEventsMatching = {}},
    };
    return all;
}

const Scene* windowScene(const QString& identifier)
{
    const auto found = std::ranges::find_if(scenes(), [&identifier](const Scene& scene) {
        return !identifier.isEmpty() && scene.identifier == identifier;
    });
    return found == scenes().end() ? nullptr : &*found;
}

QString urlOf(const QString& identifier)
{
    using platform::kUrlPrefix;
    return QString::fromLatin1(kUrlPrefix) + QStringLiteral("//") + identifier;
}

std::optional<QString> windowFor(const QString& url)
{
    const auto found = std::ranges::find_if(scenes(), [&url](const Scene& scene) {
        return std::ranges::any_of(scene.handlesExternalEventsMatching,
                                   [&url](const QString& text) { return url.contains(text); });
    });
    return found == scenes().end() ? std::nullopt : std::optional(found->identifier);
}

void WindowRouter::openWindow(const QString& identifier)
{
    const Scene* const scene = windowScene(identifier);
    if (!scene || !m_factory)
        return;
    const auto found = std::ranges::find(m_open, identifier, &Open::identifier);
    if (found == m_open.end()) {
        qCInfo(lcShell) << "the window" << identifier << "opens";
        if (m_open.empty())
            m_activation.setHasWindows(true);
        m_open.push_back(
            {.identifier = identifier, .window = m_factory->create(*scene, [this, identifier] {
                 dismissWindow(identifier);
             })});
    } else {
        std::rotate(found, found + 1, m_open.end());
    }
    m_open.back().window->present();
}

void WindowRouter::openSettings()
{
    openWindow(kSettingsWindow);
}

void WindowRouter::activate(const platform::ActivationToken& token)
{
    m_activation.activateIgnoringOtherApps(token);
}

void WindowRouter::show(const QString& identifier, const platform::ActivationToken& token)
{
    openWindow(identifier);
    activate(token);
}

void WindowRouter::dismissWindow(const QString& identifier)
{
    const auto found = std::ranges::find(m_open, identifier, &Open::identifier);
    if (found == m_open.end())
        return;
    // Its end may ask for windows itself.
    std::unique_ptr<ShellWindow> window = std::move(found->window);
    m_open.erase(found);
    window.reset();
    qCInfo(lcShell) << "the window" << identifier << "has gone";
    tellOfTheLast();
}

bool WindowRouter::isOpen(const QString& identifier) const
{
    return std::ranges::find(m_open, identifier, &Open::identifier) != m_open.end();
}

bool WindowRouter::isInUse(const QString& identifier) const
{
    const auto found = std::ranges::find(m_open, identifier, &Open::identifier);
    return found != m_open.end() && found->window->isInUse();
}

bool WindowRouter::hasVisibleWindows() const
{
    return std::ranges::any_of(m_open, [](const Open& open) { return open.window->isVisible(); });
}

bool WindowRouter::isAskedForLast(const QString& identifier) const
{
    return !m_open.empty() && m_open.back().identifier == identifier;
}

void WindowRouter::closeAll()
{
    m_open.clear();
    tellOfTheLast();
}

void WindowRouter::tellOfTheLast()
{
    if (m_open.empty())
        m_activation.setHasWindows(false);
}

} // namespace shell
