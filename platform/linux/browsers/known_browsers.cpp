// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/known_browsers.h"

namespace platform::browsers {

namespace {

constexpr QLatin1StringView kHostsOfChromium("/NativeMessagingHosts");
constexpr QLatin1StringView kHostsOfFirefox("/native-messaging-hosts");
constexpr QLatin1StringView kDataOfFirefox(".mozilla");
constexpr QLatin1StringView kSystemOfChromium("/etc/chromium/native-messaging-hosts");
constexpr QLatin1StringView kSystemOfFirefox("/usr/lib/mozilla/native-messaging-hosts");

KnownBrowser ofChromium(QLatin1StringView name,
                        QLatin1StringView dataFolder,
                        QLatin1StringView systemFolder,
                        const QStringList& programs,
                        const QStringList& executables)
{
    return {.name = name,
            .family = Family::Chromium,
            .isInConfigHome = true,
            .dataFolder = dataFolder,
            .manifestFolder = dataFolder + kHostsOfChromium,
            .newDataFolder = {},
            .systemManifestFolder = systemFolder,
            .programs = programs,
            .executables = executables};
}

KnownBrowser ofFirefox(QLatin1StringView name,
                       QLatin1StringView dataFolder,
                       QLatin1StringView newDataFolder,
                       QLatin1StringView folderOfManifests,
                       QLatin1StringView systemFolder,
                       const QStringList& names)
{
    return {.name = name,
            .family = Family::Other,
            .isInConfigHome = false,
            .dataFolder = dataFolder,
            .manifestFolder = folderOfManifests + kHostsOfFirefox,
            .newDataFolder = newDataFolder,
            .systemManifestFolder = systemFolder,
            .programs = names,
            .executables = names};
}

QStringList list(const char* words)
{
    return QString::fromLatin1(words).split(u' ');
}

} // namespace

const QList<KnownBrowser>& knownBrowsers()
{
    static const QList<KnownBrowser> kBrowsers{
        ofChromium(QLatin1StringView("Chromium"),
                   QLatin1StringView("chromium"),
                   kSystemOfChromium,
                   list("chromium chromium-browser ungoogled-chromium"),
                   list("chromium chrome")),
        ofChromium(QLatin1StringView("Google Chrome"),
                   QLatin1StringView("google-chrome"),
                   QLatin1StringView("/etc/opt/chrome/native-messaging-hosts"),
                   list("google-chrome google-chrome-stable"),
                   list("chrome")),
        ofChromium(QLatin1StringView("Brave"),
                   QLatin1StringView("BraveSoftware/Brave-Browser"),
                   kSystemOfChromium,
                   list("brave-browser brave-browser-stable brave"),
                   list("brave")),
        ofChromium(QLatin1StringView("Microsoft Edge"),
                   QLatin1StringView("microsoft-edge"),
                   QLatin1StringView("/etc/opt/edge/native-messaging-hosts"),
                   list("microsoft-edge microsoft-edge-stable"),
                   list("msedge")),
        ofChromium(QLatin1StringView("Vivaldi"),
                   QLatin1StringView("vivaldi"),
                   kSystemOfChromium,
                   list("vivaldi vivaldi-stable"),
                   list("vivaldi-bin")),
        ofChromium(QLatin1StringView("Opera"),
                   QLatin1StringView("opera"),
                   kSystemOfChromium,
                   list("opera opera-stable"),
                   list("opera")),
        ofFirefox(QLatin1StringView("Firefox"),
                  kDataOfFirefox,
                  QLatin1StringView("mozilla"),
                  kDataOfFirefox,
                  kSystemOfFirefox,
                  list("firefox firefox-esr firefox-bin")),
        ofFirefox(QLatin1StringView("LibreWolf"),
                  QLatin1StringView(".librewolf"),
                  {},
                  QLatin1StringView(".librewolf"),
                  kSystemOfFirefox,
                  list("librewolf")),
        ofFirefox(QLatin1StringView("Waterfox"),
                  QLatin1StringView(".waterfox"),
                  {},
                  QLatin1StringView(".waterfox"),
                  {},
                  list("waterfox waterfox-bin")),
        ofFirefox(QLatin1StringView("Zen"),
                  QLatin1StringView(".zen"),
                  QLatin1StringView("zen"),
                  kDataOfFirefox, // not its own
                  kSystemOfFirefox,
                  list("zen zen-bin zen-browser zen-beta zen-twilight")),
        ofFirefox(QLatin1StringView("Floorp"),
                  QLatin1StringView(".floorp"),
                  {},
                  QLatin1StringView(".floorp"),
                  {},
                  list("floorp floorp-bin")),
    };
    return kBrowsers;
}

} // namespace platform::browsers
