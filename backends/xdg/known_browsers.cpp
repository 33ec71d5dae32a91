// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/known_browsers.h"

#include <algorithm>
#include <array>
#include <optional>

namespace platform::browsers {

namespace {

constexpr QLatin1StringView kSystemOfChromium("/etc/chromium/native-messaging-hosts");
constexpr QLatin1StringView kSystemOfFirefox("/usr/lib/mozilla/native-messaging-hosts");
constexpr QLatin1StringView kChrome("Chrome");
constexpr QLatin1StringView kSafari("Safari");

QStringList list(const char* words)
{
    return QString::fromLatin1(words).split(u' ');
}

constexpr QStringView kNameOfTorBrowser = u"Tor Browser";

// Which dash it is depends on the browser and on the language.
constexpr std::array<QStringView, 3> kDashes{u" - ", u" \u2013 ", u" \u2014 "};

/// What stands in `title` before a dash and one of `names`, which end it; none when they do not.
template <typename Names>
std::optional<QStringView> beforeName(QStringView title, const Names& names)
{
    for (const QStringView name : names) {
        if (!title.endsWith(name))
            continue;
        const QStringView rest = title.chopped(name.size());
        for (const QStringView dash : kDashes) {
            if (rest.endsWith(dash))
                return rest.chopped(dash.size());
        }
    }
    return std::nullopt;
}

bool hasDash(QStringView text)
{
    return std::ranges::any_of(kDashes, [text](QStringView dash) { return text.contains(dash); });
}

/// Whether `text` is a dash and a profile's name. Where a private window says what it is there, it
/// does so in brackets or by a trade mark.
bool isProfile(QStringView text)
{
    const auto* const dash = std::ranges::find_if(
        kDashes, [text](QStringView candidate) { return text.startsWith(candidate); });
    if (dash == kDashes.end())
        return false;
    const QStringView name = text.mid(dash->size());
    return !name.isEmpty() && !hasBracket(name) && !hasDash(name) &&
           !name.contains(u"InPrivate", Qt::CaseInsensitive);
}

/// How much of `text` says that the window has more pages: " and 3 more pages", in whatever
/// language, so all that counts are the space before it and that there is one number in it.
qsizetype lengthOfMore(QStringView text)
{
    constexpr qsizetype kLongest = 64;
    qsizetype end = text.size();
    for (const QStringView dash : kDashes) {
        const qsizetype at = text.indexOf(dash);
        end = at < 0 ? end : std::min(end, at);
    }
    const QStringView more = text.first(end);
    int numbers = 0;
    bool isInNumber = false;
    for (const QChar character : more) {
        const bool isDigit = character.isDigit();
        numbers += isDigit && !isInNumber ? 1 : 0;
        isInNumber = isDigit;
    }
    return more.startsWith(u' ') && more.size() <= kLongest && numbers == 1 ? end : 0;
}

/// Whether Edge puts `text` between a page's title and its own name: nothing, that there are more
/// pages, the profile's name, or both.
bool isEdges(QStringView text)
{
    const QStringView profile = text.mid(lengthOfMore(text));
    return profile.isEmpty() || isProfile(profile);
}

} // namespace

using namespace Qt::StringLiterals;

// Web applications that a browser has installed have identifiers of their own and show no address;
// they are not in here.
const QList<KnownBrowser>& knownBrowsers()
{
    static const QList<KnownBrowser> kBrowsers{
        {.name = "Chromium"_L1, // also without Google's services
         .identifiers = list("chromium chromium-browser chromium-bin chromium-freeworld "
                             "chromium_chromium org.chromium.chromium "
                             "ungoogled-chromium ungoogled_chromium "
                             "io.github.ungoogled_software.ungoogled_chromium "
                             "com.github.eloston.ungoogledchromium"),
         .titleNames = {u"Chromium"},
         .dataFolder = "chromium"_L1,
         .systemManifestFolder = kSystemOfChromium,
         .programs = list("chromium chromium-browser ungoogled-chromium"),
         .executables = list("chromium chrome")},
        {.name = "Google Chrome"_L1,
         .identifiers = list("google-chrome google-chrome-stable google-chrome-beta "
                             "google-chrome-unstable com.google.chrome com.google.chromedev"),
         .titleNames = {u"Google Chrome", u"Google Chrome Beta", u"Google Chrome Dev"},
         .dataFolder = "google-chrome"_L1,
         .systemManifestFolder = "/etc/opt/chrome/native-messaging-hosts"_L1,
         .programs = list("google-chrome google-chrome-stable"),
         .executables = list("chrome")},
        {.name = "Brave"_L1,
         .identifiers = list("brave brave-browser brave-browser-beta brave-browser-nightly "
                             "brave_brave com.brave.browser"),
         .titleNames = {u"Brave"},
         .dataFolder = "BraveSoftware/Brave-Browser"_L1,
         .systemManifestFolder = kSystemOfChromium,
         .programs = list("brave-browser brave-browser-stable brave"),
         .executables = list("brave")},
        {.name = "Microsoft Edge"_L1,
         .identifiers = list("microsoft-edge microsoft-edge-stable microsoft-edge-beta "
                             "microsoft-edge-dev com.microsoft.edge"),
         .titleNames = {u"Microsoft\u200B Edge", // the space of no width is its own
                        u"Microsoft Edge",
                        u"Microsoft\u200B Edge Beta",
                        u"Microsoft Edge Beta",
                        u"Microsoft\u200B Edge Dev",
                        u"Microsoft Edge Dev"},
         .hasProfileInTitle = true,
         .dataFolder = "microsoft-edge"_L1,
         .systemManifestFolder = "/etc/opt/edge/native-messaging-hosts"_L1,
         .programs = list("microsoft-edge microsoft-edge-stable"),
         .executables = list("msedge")},
        {.name = "Vivaldi"_L1,
         .identifiers = list("vivaldi vivaldi-stable vivaldi-snapshot vivaldi_vivaldi-stable "
                             "com.vivaldi.vivaldi"),
         .titleNames = {u"Vivaldi"},
         .dataFolder = "vivaldi"_L1,
         .systemManifestFolder = kSystemOfChromium,
         .programs = list("vivaldi vivaldi-stable"),
         .executables = list("vivaldi-bin")},
        {.name = "Opera"_L1,
         .identifiers = list("opera opera-beta opera-developer opera_opera com.opera.opera"),
         .titleNames = {u"Opera"},
         .dataFolder = "opera"_L1,
         .systemManifestFolder = kSystemOfChromium,
         .programs = list("opera opera-stable"),
         .executables = list("opera")},
        {.name = "qutebrowser"_L1, .identifiers = list("qutebrowser org.qutebrowser.qutebrowser")},
        {.name = "Firefox"_L1,
         .family = Family::Other,
         // "navigator" is the instance of its windows.
         .identifiers = list("firefox firefox-esr firefox-beta firefox-nightly "
                             "firefox-developer-edition firefox-aurora firefox_firefox "
                             "navigator org.mozilla.firefox"),
         .titleNames =
             {u"Mozilla Firefox", u"Firefox", u"Firefox Developer Edition", u"Firefox Nightly"},
         .dataFolder = ".mozilla"_L1,
         .newDataFolder = "mozilla"_L1,
         .systemManifestFolder = kSystemOfFirefox,
         .programs = list("firefox firefox-esr firefox-bin"),
         .executables = list("firefox firefox-esr firefox-bin")},
        {.name = "LibreWolf"_L1,
         .family = Family::Other,
         .identifiers = list("librewolf librewolf-default io.gitlab.librewolf-community"),
         .titleNames = {u"LibreWolf"},
         .dataFolder = ".librewolf"_L1,
         .systemManifestFolder = kSystemOfFirefox,
         .programs = list("librewolf"),
         .executables = list("librewolf")},
        {.name = "Waterfox"_L1,
         .family = Family::Other,
         .identifiers = list("waterfox waterfox-classic waterfox-current net.waterfox.waterfox"),
         .titleNames = {u"Waterfox"},
         .dataFolder = ".waterfox"_L1,
         .programs = list("waterfox waterfox-bin"),
         .executables = list("waterfox waterfox-bin")},
        {.name = "Zen"_L1,
         .family = Family::Other,
         .identifiers = list("zen zen-alpha zen-beta zen-twilight zen-browser "
                             "app.zen_browser.zen io.github.zen_browser.zen"),
         .titleNames = {u"Zen Browser", u"Zen Twilight"},
         .dataFolder = ".zen"_L1,
         .newDataFolder = "zen"_L1,
         .manifestsOfOther = ".mozilla"_L1,
         .systemManifestFolder = kSystemOfFirefox,
         .programs = list("zen zen-bin zen-browser zen-beta zen-twilight"),
         .executables = list("zen zen-bin zen-browser zen-beta zen-twilight")},
        {.name = "Floorp"_L1,
         .family = Family::Other,
         .identifiers = list("floorp one.ablaze.floorp"),
         .titleNames = {u"Floorp", u"Ablaze Floorp"},
         .dataFolder = ".floorp"_L1,
         .programs = list("floorp floorp-bin"),
         .executables = list("floorp floorp-bin")},
        {.name = "GNOME Web"_L1,
         .family = Family::Other,
         .identifiers = list("epiphany epiphany-browser org.gnome.epiphany")},
        {.name = "Falkon"_L1,
         .family = Family::Other,
         .identifiers = list("falkon org.kde.falkon falkon_falkon")},
    };
    return kBrowsers;
}

QString KnownBrowser::manifestFolder() const
{
    if (family == Family::Chromium)
        return dataFolder + "/NativeMessagingHosts"_L1;
    return (manifestsOfOther.isEmpty() ? dataFolder : manifestsOfOther) +
           "/native-messaging-hosts"_L1;
}

std::optional<Family> familyOf(QStringView identifier)
{
    for (const QLatin1StringView dialect : {kChrome, kSafari}) {
        if (identifier.endsWith(dialect) && identifier.chopped(dialect.size()).endsWith(u'+'))
            identifier.chop(dialect.size() + 1);
    }
    for (const KnownBrowser& browser : knownBrowsers()) {
        if (browser.identifiers.contains(identifier, Qt::CaseInsensitive))
            return browser.family;
    }
    return std::nullopt;
}

QString withDialect(const QString& identifier)
{
    const auto family = familyOf(identifier);
    if (!family || identifier.contains(kChrome) || identifier.contains(kSafari))
        return identifier;
    return identifier + u'+' + (*family == Family::Chromium ? kChrome : kSafari);
}

bool isNeverAsked(const QStringList& identifiers)
{
    // Who uses it wants no trace of what was read, whatever could answer.
    static const QStringList kTorBrowser{u"tor browser"_s,
                                         u"tor-browser"_s,
                                         u"torbrowser"_s,
                                         u"torbrowser-launcher"_s,
                                         u"start-tor-browser"_s,
                                         u"org.torproject.torbrowser"_s,
                                         u"org.torproject.torbrowser-launcher"_s};
    return std::ranges::any_of(identifiers, [](const QString& identifier) {
        return kTorBrowser.contains(identifier, Qt::CaseInsensitive);
    });
}

bool isWindowOfPage(QStringView windowTitle, QStringView pageTitle, Family family)
{
    if (pageTitle.isEmpty() || !windowTitle.startsWith(pageTitle))
        return false;
    const QStringView rest = windowTitle.mid(pageTitle.size());
    return std::ranges::any_of(knownBrowsers(), [rest, family](const KnownBrowser& browser) {
        const auto before =
            browser.family == family ? beforeName(rest, browser.titleNames) : std::nullopt;
        return before && (browser.hasProfileInTitle ? isEdges(*before) : before->isEmpty());
    });
}

bool hasBracket(QStringView text)
{
    return std::ranges::any_of(text, [](QChar character) {
        return character.category() == QChar::Punctuation_Open ||
               character.category() == QChar::Punctuation_Close;
    });
}

bool isWindowOfTorBrowser(QStringView windowTitle)
{
    return windowTitle == kNameOfTorBrowser ||
           beforeName(windowTitle, std::array{kNameOfTorBrowser}).has_value();
}

} // namespace platform::browsers
