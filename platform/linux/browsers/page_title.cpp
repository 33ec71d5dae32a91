// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/page_title.h"

#include <algorithm>
#include <array>

namespace platform::browsers {

namespace {

// Trade marks, which no language changes. The space of no width in one of them is its own.
constexpr std::array<QStringView, 9> kNamesOfChromium{u"Chromium",
                                                      u"Google Chrome",
                                                      u"Google Chrome Beta",
                                                      u"Google Chrome Dev",
                                                      u"Brave",
                                                      u"Microsoft\u200B Edge",
                                                      u"Microsoft Edge",
                                                      u"Vivaldi",
                                                      u"Opera"};
constexpr std::array<QStringView, 5> kOtherNames{
    u"Mozilla Firefox", u"Firefox", u"Firefox Developer Edition", u"Firefox Nightly", u"LibreWolf"};

// Which dash it is depends on the browser and on the language.
constexpr std::array<QStringView, 3> kDashes{u" - ", u" \u2013 ", u" \u2014 "};

} // namespace

bool isWindowOfPage(QStringView windowTitle, QStringView pageTitle, Family family)
{
    if (pageTitle.isEmpty() || !windowTitle.startsWith(pageTitle))
        return false;
    const QStringView rest = windowTitle.mid(pageTitle.size());
    const auto* const dash = std::ranges::find_if(
        kDashes, [rest](QStringView candidate) { return rest.startsWith(candidate); });
    if (dash == kDashes.end())
        return false;
    const QStringView name = rest.mid(dash->size());
    return family == Family::Chromium
               ? std::ranges::find(kNamesOfChromium, name) != kNamesOfChromium.end()
               : std::ranges::find(kOtherNames, name) != kOtherNames.end();
}

} // namespace platform::browsers
