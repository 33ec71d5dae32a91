// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/page_title.h"

#include "backends/xdg/known_browsers.h"

#include <algorithm>
#include <array>
#include <optional>

namespace platform::browsers {

namespace {

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
    const bool hasBracket = std::ranges::any_of(name, [](QChar character) {
        return character.category() == QChar::Punctuation_Open ||
               character.category() == QChar::Punctuation_Close;
    });
    return !name.isEmpty() && !hasBracket && !hasDash(name) &&
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

bool isWindowOfTorBrowser(QStringView windowTitle)
{
    return windowTitle == kNameOfTorBrowser ||
           beforeName(windowTitle, std::array{kNameOfTorBrowser}).has_value();
}

} // namespace platform::browsers
