// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/identifier_dialects.h"

#include <QLatin1StringView>

#include <algorithm>
#include <array>

namespace platform::browsers {

namespace {

// Names of desktop files without ".desktop", application ids and window classes. Web applications
// that a browser has installed have ids of their own and show no address; they are not in here. In
// lower case; identifiers are compared whatever their case.
constexpr std::array kFamilyOfChromium{
    // Chromium, also without Google's services
    QLatin1StringView("chromium"),
    QLatin1StringView("chromium-browser"),
    QLatin1StringView("chromium-bin"),
    QLatin1StringView("chromium-freeworld"),
    QLatin1StringView("chromium_chromium"),
    QLatin1StringView("org.chromium.chromium"),
    QLatin1StringView("ungoogled-chromium"),
    QLatin1StringView("ungoogled_chromium"),
    QLatin1StringView("io.github.ungoogled_software.ungoogled_chromium"),
    QLatin1StringView("com.github.eloston.ungoogledchromium"),
    // Google Chrome
    QLatin1StringView("google-chrome"),
    QLatin1StringView("google-chrome-stable"),
    QLatin1StringView("google-chrome-beta"),
    QLatin1StringView("google-chrome-unstable"),
    QLatin1StringView("com.google.chrome"),
    QLatin1StringView("com.google.chromedev"),
    // Brave
    QLatin1StringView("brave"),
    QLatin1StringView("brave-browser"),
    QLatin1StringView("brave-browser-beta"),
    QLatin1StringView("brave-browser-nightly"),
    QLatin1StringView("brave_brave"),
    QLatin1StringView("com.brave.browser"),
    // Edge
    QLatin1StringView("microsoft-edge"),
    QLatin1StringView("microsoft-edge-stable"),
    QLatin1StringView("microsoft-edge-beta"),
    QLatin1StringView("microsoft-edge-dev"),
    QLatin1StringView("com.microsoft.edge"),
    // Vivaldi
    QLatin1StringView("vivaldi"),
    QLatin1StringView("vivaldi-stable"),
    QLatin1StringView("vivaldi-snapshot"),
    QLatin1StringView("vivaldi_vivaldi-stable"),
    QLatin1StringView("com.vivaldi.vivaldi"),
    // Opera
    QLatin1StringView("opera"),
    QLatin1StringView("opera-beta"),
    QLatin1StringView("opera-developer"),
    QLatin1StringView("opera_opera"),
    QLatin1StringView("com.opera.opera"),
    // qutebrowser
    QLatin1StringView("qutebrowser"),
    QLatin1StringView("org.qutebrowser.qutebrowser"),
};

constexpr std::array kOthers{
    // Firefox and its kin
    QLatin1StringView("firefox"),
    QLatin1StringView("firefox-esr"),
    QLatin1StringView("firefox-beta"),
    QLatin1StringView("firefox-nightly"),
    QLatin1StringView("firefox-developer-edition"),
    QLatin1StringView("firefox-aurora"),
    QLatin1StringView("firefox_firefox"),
    QLatin1StringView("navigator"), // the instance of Firefox's windows
    QLatin1StringView("org.mozilla.firefox"),
    QLatin1StringView("librewolf"),
    QLatin1StringView("librewolf-default"),
    QLatin1StringView("io.gitlab.librewolf-community"),
    QLatin1StringView("waterfox"),
    QLatin1StringView("waterfox-classic"),
    QLatin1StringView("waterfox-current"),
    QLatin1StringView("net.waterfox.waterfox"),
    QLatin1StringView("zen"),
    QLatin1StringView("zen-alpha"),
    QLatin1StringView("zen-beta"),
    QLatin1StringView("zen-twilight"),
    QLatin1StringView("zen-browser"),
    QLatin1StringView("app.zen_browser.zen"),
    QLatin1StringView("io.github.zen_browser.zen"),
    QLatin1StringView("floorp"),
    QLatin1StringView("one.ablaze.floorp"),
    // GNOME Web
    QLatin1StringView("epiphany"),
    QLatin1StringView("epiphany-browser"),
    QLatin1StringView("org.gnome.epiphany"),
    // Falkon
    QLatin1StringView("falkon"),
    QLatin1StringView("org.kde.falkon"),
    QLatin1StringView("falkon_falkon"),
};

// Never asked, whatever could answer: who uses them wants no trace of what was read.
constexpr std::array kNeverAsked{
    QLatin1StringView("tor browser"),
    QLatin1StringView("tor-browser"),
    QLatin1StringView("torbrowser"),
    QLatin1StringView("torbrowser-launcher"),
    QLatin1StringView("start-tor-browser"),
    QLatin1StringView("org.torproject.torbrowser"),
    QLatin1StringView("org.torproject.torbrowser-launcher"),
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

template <typename Names> bool isAmong(const Names& names, QStringView identifier)
{
    return std::ranges::any_of(names, [identifier](QLatin1StringView name) {
        return identifier.compare(name, Qt::CaseInsensitive) == 0;
    });
}

} // namespace

std::optional<Family> familyOf(QStringView identifier)
{
    const QStringView stem = withoutDialect(identifier);
    if (isAmong(kFamilyOfChromium, stem))
        return Family::Chromium;
    return isAmong(kOthers, stem) ? std::optional(Family::Other) : std::nullopt;
}

bool isNeverAsked(const QStringList& identifiers)
{
    return std::ranges::any_of(
        identifiers, [](const QString& identifier) { return isAmong(kNeverAsked, identifier); });
}

QString withDialect(const QString& identifier)
{
    const auto family = familyOf(identifier);
    if (!family || identifier.contains(kChrome) || identifier.contains(kSafari))
        return identifier;
    return identifier + kPlus + (*family == Family::Chromium ? kChrome : kSafari);
}

} // namespace platform::browsers
