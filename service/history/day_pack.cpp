// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/history/day_pack.h"

#include <algorithm>
#include <limits>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

namespace service {

namespace {

using Text = std::string_view;

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

/// Calls `each(slot, seconds)` for the slots that `span` lies in.
template <typename Each> void forSlots(const Span& span, Each each)
{
    for (std::int64_t at = span.begin; at < span.end;) {
        const std::int64_t slot = at / DayPack::kSecondsOfASlot;
        const std::int64_t end = std::min(span.end, (slot + 1) * DayPack::kSecondsOfASlot);
        each(static_cast<std::size_t>(slot), end - at);
        at = end;
    }
}

/// In how many seconds of each slot at least one of `spans` lies.
std::array<std::uint16_t, DayPack::kSlots> unionOf(std::vector<Span> spans)
{
    std::array<std::uint16_t, DayPack::kSlots> seconds = {};
    std::ranges::sort(spans, {}, &Span::begin);
    std::int64_t covered = 0; // everything before is
    for (const Span& span : spans) {
        forSlots({.begin = std::max(span.begin, covered), .end = span.end},
                 [&](std::size_t slot, std::int64_t more) {
                     seconds.at(slot) = static_cast<std::uint16_t>(seconds.at(slot) + more);
                 });
        covered = std::max(covered, span.end);
    }
    return seconds;
}

/// Texts and the places that they get.
class Table final
{
public:
    void add(Text text) { m_places.emplace(text, 0); }

    std::vector<std::string> take()
    {
        std::vector<std::string> texts;
        texts.reserve(m_places.size());
        for (auto& [text, place] : m_places) {
            place = static_cast<std::uint32_t>(texts.size());
            texts.emplace_back(text);
        }
        return texts;
    }

    [[nodiscard]] std::uint32_t place(Text text) const { return m_places.find(text)->second; }

    [[nodiscard]] std::optional<std::uint32_t> place(const std::optional<Text>& text) const
    {
        return text ? std::optional(place(*text)) : std::nullopt;
    }

private:
    std::map<Text, std::uint32_t> m_places;
};

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

DayPack packOf(std::int64_t day, std::span<const Run> runs, const CategoryRules& rules)
{
    using Key =
        std::tuple<std::size_t, std::int64_t, Text, std::optional<Text>, std::optional<Text>>;
    std::map<Key, std::int64_t> sums;
    std::map<std::pair<Text, Text>, std::int64_t> titles;
    std::vector<Span> spans;
    Table apps;
    Table sites;
    Table categories;
    for (const Run& run : runs) {
        const std::optional<Span> part = partOf(day, run);
        if (!part)
            continue;
        spans.push_back(*part);
        apps.add(run.app);
        const auto site = run.site ? std::optional<Text>(*run.site) : std::nullopt;
        if (site)
            sites.add(*site);
        const std::optional<Text> category = rules.categoryOf(run);
        if (category)
            categories.add(*category);
        forSlots(*part, [&](std::size_t slot, std::int64_t seconds) {
            std::int64_t& sum = sums[{slot, run.device, run.app, site, category}];
            sum = saturatingSum(sum, seconds);
        });
        if (run.title) {
            std::int64_t& sum = titles[{run.app, *run.title}];
            sum = saturatingSum(sum, part->end - part->begin);
        }
    }
    DayPack pack;
    pack.apps = apps.take();
    pack.sites = sites.take();
    pack.categories = categories.take();
    for (const auto& [key, seconds] : sums) {
        const auto& [slot, device, app, site, category] = key;
        pack.entries.push_back({.slot = static_cast<std::uint32_t>(slot),
                                .device = device,
                                .app = apps.place(app),
                                .site = sites.place(site),
                                .category = categories.place(category),
                                .seconds = seconds});
    }
    pack.anyDevice = unionOf(std::move(spans));
    for (const auto& [key, seconds] : titles)
        pack.titles.push_back(
            {.app = apps.place(key.first), .text = std::string(key.second), .seconds = seconds});
    keepLongest(pack.titles);
    return pack;
}

} // namespace service
