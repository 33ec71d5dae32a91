// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/page_title.h"

#include <algorithm>
#include <array>

namespace platform::browsers {

namespace {

struct Name
{
    QStringView text;
    Family family;
};

// Trade marks, which no language changes.
constexpr std::array kNames{
    Name{u"Chromium", Family::Chromium},
    Name{u"Google Chrome", Family::Chromium},
    Name{u"Google Chrome Beta", Family::Chromium},
    Name{u"Google Chrome Dev", Family::Chromium},
    Name{u"Brave", Family::Chromium},
    Name{u"Microsoft\u200B Edge", Family::Chromium}, // so that it is never broken
    Name{u"Microsoft Edge", Family::Chromium},
    Name{u"Vivaldi", Family::Chromium},
    Name{u"Opera", Family::Chromium},
    Name{u"Mozilla Firefox", Family::Other},
    Name{u"Firefox", Family::Other},
    Name{u"Firefox Developer Edition", Family::Other},
    Name{u"Firefox Nightly", Family::Other},
    Name{u"LibreWolf", Family::Other},
};

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
    return std::ranges::any_of(kNames, [name, family](const Name& known) {
        return known.family == family && known.text == name;
    });
}

} // namespace platform::browsers
