// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "shell/scenes.h"

#include "base/build_config.h"

#include <algorithm>

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

} // namespace shell
