// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/identifier_dialects.h"

#include <QLatin1StringView>

#include <algorithm>
#include <array>

namespace platform::browsers {

namespace {

struct Entry
{
    QLatin1StringView identifier; // in lower case
    Family family;
};

// Names of desktop files without ".desktop", application ids and window classes. Web applications
// that a browser has installed have ids of their own and show no address; they are not in here.
constexpr std::array kTable{
    // Chromium, also without Google's services
    Entry{QLatin1StringView("chromium"), Family::Chromium},
    Entry{QLatin1StringView("chromium-browser"), Family::Chromium},
    Entry{QLatin1StringView("chromium-bin"), Family::Chromium},
    Entry{QLatin1StringView("chromium-freeworld"), Family::Chromium},
    Entry{QLatin1StringView("chromium_chromium"), Family::Chromium},
    Entry{QLatin1StringView("org.chromium.chromium"), Family::Chromium},
    Entry{QLatin1StringView("ungoogled-chromium"), Family::Chromium},
    Entry{QLatin1StringView("ungoogled_chromium"), Family::Chromium},
    Entry{QLatin1StringView("io.github.ungoogled_software.ungoogled_chromium"), Family::Chromium},
    Entry{QLatin1StringView("com.github.eloston.ungoogledchromium"), Family::Chromium},
    // Google Chrome
    Entry{QLatin1StringView("google-chrome"), Family::Chromium},
    Entry{QLatin1StringView("google-chrome-stable"), Family::Chromium},
    Entry{QLatin1StringView("google-chrome-beta"), Family::Chromium},
    Entry{QLatin1StringView("google-chrome-unstable"), Family::Chromium},
    Entry{QLatin1StringView("com.google.chrome"), Family::Chromium},
    Entry{QLatin1StringView("com.google.chromedev"), Family::Chromium},
    // Brave
    Entry{QLatin1StringView("brave"), Family::Chromium},
    Entry{QLatin1StringView("brave-browser"), Family::Chromium},
    Entry{QLatin1StringView("brave-browser-beta"), Family::Chromium},
    Entry{QLatin1StringView("brave-browser-nightly"), Family::Chromium},
    Entry{QLatin1StringView("brave_brave"), Family::Chromium},
    Entry{QLatin1StringView("com.brave.browser"), Family::Chromium},
    // Edge
    Entry{QLatin1StringView("microsoft-edge"), Family::Chromium},
    Entry{QLatin1StringView("microsoft-edge-stable"), Family::Chromium},
    Entry{QLatin1StringView("microsoft-edge-beta"), Family::Chromium},
    Entry{QLatin1StringView("microsoft-edge-dev"), Family::Chromium},
    Entry{QLatin1StringView("com.microsoft.edge"), Family::Chromium},
    // Vivaldi
    Entry{QLatin1StringView("vivaldi"), Family::Chromium},
    Entry{QLatin1StringView("vivaldi-stable"), Family::Chromium},
    Entry{QLatin1StringView("vivaldi-snapshot"), Family::Chromium},
    Entry{QLatin1StringView("vivaldi_vivaldi-stable"), Family::Chromium},
    Entry{QLatin1StringView("com.vivaldi.vivaldi"), Family::Chromium},
    // Opera
    Entry{QLatin1StringView("opera"), Family::Chromium},
    Entry{QLatin1StringView("opera-beta"), Family::Chromium},
    Entry{QLatin1StringView("opera-developer"), Family::Chromium},
    Entry{QLatin1StringView("opera_opera"), Family::Chromium},
    Entry{QLatin1StringView("com.opera.opera"), Family::Chromium},
    // Firefox and its kin
    Entry{QLatin1StringView("firefox"), Family::Other},
    Entry{QLatin1StringView("firefox-esr"), Family::Other},
    Entry{QLatin1StringView("firefox-beta"), Family::Other},
    Entry{QLatin1StringView("firefox-nightly"), Family::Other},
    Entry{QLatin1StringView("firefox-developer-edition"), Family::Other},
    Entry{QLatin1StringView("firefox-aurora"), Family::Other},
    Entry{QLatin1StringView("firefox_firefox"), Family::Other},
    Entry{QLatin1StringView("navigator"), Family::Other}, // the instance of Firefox's windows
    Entry{QLatin1StringView("org.mozilla.firefox"), Family::Other},
    Entry{QLatin1StringView("librewolf"), Family::Other},
    Entry{QLatin1StringView("librewolf-default"), Family::Other},
    Entry{QLatin1StringView("io.gitlab.librewolf-community"), Family::Other},
    // GNOME Web
    Entry{QLatin1StringView("epiphany"), Family::Other},
    Entry{QLatin1StringView("epiphany-browser"), Family::Other},
    Entry{QLatin1StringView("org.gnome.epiphany"), Family::Other},
    // Falkon
    Entry{QLatin1StringView("falkon"), Family::Other},
    Entry{QLatin1StringView("org.kde.falkon"), Family::Other},
    Entry{QLatin1StringView("falkon_falkon"), Family::Other},
};

constexpr QLatin1StringView kChrome("Chrome");
constexpr QLatin1StringView kSafari("Safari");
constexpr QLatin1StringView kPlus("+");

QStringView withoutDialect(QStringView identifier)
{
    for (const QLatin1StringView dialect : {kChrome, kSafari}) {
        const QStringView stem =
            identifier.chopped(std::min(identifier.size(), dialect.size() + 1));
        if (identifier.endsWith(dialect) && identifier.mid(stem.size()).startsWith(kPlus))
            return stem;
    }
    return identifier;
}

} // namespace

std::optional<Family> familyOf(QStringView identifier)
{
    const QStringView stem = withoutDialect(identifier);
    const auto* const found = std::ranges::find_if(kTable, [stem](const Entry& entry) {
        return stem.compare(entry.identifier, Qt::CaseInsensitive) == 0;
    });
    return found == kTable.end() ? std::nullopt : std::optional(found->family);
}

QString withDialect(const QString& identifier)
{
    const auto family = familyOf(identifier);
    if (!family || identifier.contains(kChrome) || identifier.contains(kSafari))
        return identifier;
    return identifier + kPlus + (*family == Family::Chromium ? kChrome : kSafari);
}

} // namespace platform::browsers
