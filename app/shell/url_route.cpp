// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/shell/url_route.h"

#include "app/shell/scenes.h"
#include "platform/build_config.h"

#include <algorithm>

namespace shell {

bool isOwnUrl(const QString& url)
{
    return url.startsWith(QString::fromLatin1(platform::kUrlPrefix), Qt::CaseInsensitive);
}

std::optional<QString> windowFor(const QString& url)
{
    const auto answers = [&url](const Scene& scene) {
        return std::ranges::any_of(scene.handlesExternalEventsMatching,
                                   [&url](const QString& text) { return url.contains(text); });
    };
    const auto found = std::ranges::find_if(scenes(), answers);
    return found == scenes().end() ? std::nullopt : std::optional(found->identifier);
}

} // namespace shell
