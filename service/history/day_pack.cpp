// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/history/day_pack.h"

#include "base/exact_utf8.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace service {

namespace {

/// The part of a run that lies on the day, in seconds since its begin.
struct Span
{
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

std::optional<Span> partOf(std::int64_t day, const Run& run)
{
    if (run.seconds <= 0 || !isCountedTime(run.start))
        return std::nullopt;
    const std::int64_t midnight = day * kSecondsOfADay;
    const Span part = {.begin = std::max<std::int64_t>(run.start - midnight, 0),
                       .end =
                           std::min(endOfRun(run.start, run.seconds) - midnight, kSecondsOfADay)};
    return part.begin < part.end ? std::optional(part) : std::nullopt;
}

/// Calls `each(slot, from, seconds)` for the slots that `span` lies in, `from` being in the slot.
template <typename Each> void forSlots(const Span& span, Each each)
{
    for (std::int64_t at = span.begin; at < span.end;) {
        const std::int64_t slot = at / DayPack::kSecondsOfASlot;
        const std::int64_t end = std::min(span.end, (slot + 1) * DayPack::kSecondsOfASlot);
        each(static_cast<std::size_t>(slot), at % DayPack::kSecondsOfASlot, end - at);
        at = end;
    }
}

/// The texts in their order; `places` are where those of each number stand.
std::vector<std::string> ordered(const std::map<std::string, std::uint32_t, std::less<>>& texts,
                                 std::vector<std::uint32_t>& places)
{
    std::vector<std::string> all;
    all.reserve(texts.size());
    places.resize(texts.size());
    for (const auto& [text, number] : texts) {
        places[number] = static_cast<std::uint32_t>(all.size());
        all.push_back(text);
    }
    return all;
}

void keepLongest(std::vector<DayPack::Title>& titles)
{
    std::ranges::sort(titles, [](const DayPack::Title& a, const DayPack::Title& b) {
        return std::tie(b.seconds, a.app, a.text) < std::tie(a.seconds, b.app, b.text);
    });
    if (titles.size() > DayPack::kMostTitles)
        titles.resize(DayPack::kMostTitles);
}

} // namespace

std::int64_t saturatingSum(std::int64_t a, std::int64_t b)
{
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum))
        return sum;
    return a < 0 ? std::numeric_limits<std::int64_t>::min()
                 : std::numeric_limits<std::int64_t>::max();
}

std::int64_t DayPack::seconds() const
{
    std::int64_t sum = 0;
    for (const Entry& entry : entries)
        sum = saturatingSum(sum, entry.seconds);
    return sum;
}

DayPackBuilder::DayPackBuilder(std::int64_t day, const CategoryRules& rules)
    : m_day(day)
    , m_rules(rules)
    , m_active(DayPack::kSlots)
{
}

std::uint32_t DayPackBuilder::numberOf(Texts& texts, std::string_view text)
{
    const auto found = texts.find(text);
    if (found != texts.end())
        return found->second;
    return texts.emplace(text, static_cast<std::uint32_t>(texts.size())).first->second;
}

void DayPackBuilder::add(const Run& run)
{
    const std::optional<Span> part = partOf(m_day, run);
    if (!part)
        return;
    m_firstDevice = std::min(run.device, m_firstDevice.value_or(run.device));
    Key key = keyOf(run);
    if (run.title)
        addTitle(std::get<2>(key), *run.title, part->end - part->begin);
    forSlots(*part, [&](std::size_t slot, std::int64_t from, std::int64_t seconds) {
        const auto all = ~std::bitset<DayPack::kSecondsOfASlot>();
        m_active[slot] |= all >> static_cast<std::size_t>(DayPack::kSecondsOfASlot - seconds)
                                     << static_cast<std::size_t>(from);
        std::get<0>(key) = static_cast<std::uint32_t>(slot);
        std::int64_t& sum = m_sums[key];
        sum = saturatingSum(sum, seconds);
    });
    if (m_apps.size() > DayPack::kMostApps || m_sites.size() > DayPack::kMostSites ||
        (m_tellsApart && m_sums.size() > DayPack::kMostEntries))
        tellNothingApart();
}

DayPackBuilder::Key DayPackBuilder::keyOf(const Run& run)
{
    if (!m_tellsApart)
        return {};
    const std::uint32_t app = numberOf(m_apps, run.app);
    const Number site = run.site ? Number(numberOf(m_sites, *run.site)) : std::nullopt;
    const std::optional<std::string_view> name = m_rules.categoryOf(run);
    const Number category = name ? Number(numberOf(m_categories, *name)) : std::nullopt;
    return {0, run.device, app, site, category};
}

void DayPackBuilder::addTitle(std::uint32_t app, const std::string& title, std::int64_t seconds)
{
    if (m_differentTitles > DayPack::kMostDifferentTitles)
        return;
    m_titles.resize(m_apps.size());
    Seconds& titles = m_titles[app];
    const std::string_view cut = platform::cutUtf8(std::string_view(title), DayPack::kLongestTitle);
    auto found = titles.find(cut);
    if (found == titles.end()) {
        found = titles.emplace(cut, 0).first;
        ++m_differentTitles;
    }
    found->second = saturatingSum(found->second, seconds);
    if (m_differentTitles > DayPack::kMostDifferentTitles)
        m_titles.clear();
}

/// Whether it comes to this depends on all runs of the day, not on their order, and so does what is
/// left.
void DayPackBuilder::tellNothingApart()
{
    m_tellsApart = false;
    m_differentTitles = DayPack::kMostDifferentTitles + 1;
    m_titles.clear();
    m_sites.clear();
    m_categories.clear();
    m_apps = {{std::string(DayPack::kTooMany), 0}};
    std::map<Key, std::int64_t> sums;
    for (const auto& [key, seconds] : m_sums) {
        std::int64_t& sum = sums[{std::get<0>(key), 0, 0, std::nullopt, std::nullopt}];
        sum = saturatingSum(sum, seconds);
    }
    m_sums = std::move(sums);
}

DayPack DayPackBuilder::pack() const
{
    std::vector<std::uint32_t> apps;
    std::vector<std::uint32_t> sites;
    std::vector<std::uint32_t> categories;
    DayPack pack;
    pack.apps = ordered(m_apps, apps);
    pack.sites = ordered(m_sites, sites);
    pack.categories = ordered(m_categories, categories);
    const auto place = [](const Number& number, const std::vector<std::uint32_t>& places) {
        return number ? Number(places[*number]) : std::nullopt;
    };
    pack.entries.reserve(m_sums.size());
    for (const auto& [key, seconds] : m_sums) {
        const auto& [slot, device, app, site, category] = key;
        pack.entries.push_back({.slot = slot,
                                .device = m_tellsApart ? device : m_firstDevice.value_or(device),
                                .app = apps[app],
                                .site = place(site, sites),
                                .category = place(category, categories),
                                .seconds = seconds});
    }
    std::ranges::sort(pack.entries, {}, [](const DayPack::Entry& entry) {
        return std::tie(entry.slot, entry.device, entry.app, entry.site, entry.category);
    });
    for (std::size_t slot = 0; slot < DayPack::kSlots; ++slot)
        pack.anyDevice.at(slot) = static_cast<std::uint16_t>(m_active[slot].count());
    for (std::uint32_t app = 0; app < m_titles.size(); ++app) {
        for (const auto& [text, seconds] : m_titles[app])
            pack.titles.push_back({.app = apps[app], .text = text, .seconds = seconds});
        keepLongest(pack.titles); // of each application in turn: never much more than stays
    }
    return pack;
}

} // namespace service
