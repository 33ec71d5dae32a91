// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/history/category_rules.h"
#include "service/history/run.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace service {

/// One UTC day of one user, added up: what reports of any time zone are made of, since the offset
/// of every zone is a multiple of a slot. Equal sets of runs make equal packs, whatever their
/// order.
struct DayPack
{
    static constexpr std::int64_t kSecondsOfASlot = 900;
    static constexpr std::size_t kSlots = 96;
    static constexpr std::size_t kMostTitles = 100;
    /// Bytes of a title, cut between two characters; those that begin alike for so long count as
    /// one.
    static constexpr std::size_t kLongestTitle = 512;
    /// A day with more different titles than this has none here.
    static constexpr std::size_t kMostDifferentTitles = 50'000;
    // With more than this of any of them a day has one application, kTooMany, of its first device,
    // without sites and categories; how long something ran is as exact as ever.
    static constexpr std::size_t kMostApps = 2'000;
    static constexpr std::size_t kMostSites = 10'000;
    static constexpr std::size_t kMostEntries = 100'000;
    static constexpr std::string_view kTooMany = "(too many to tell apart)";

    /// What ran in one slot. Ordered by slot, device, application, site and category.
    struct Entry
    {
        std::uint32_t slot = 0; ///< from 0, of 15 minutes
        std::int64_t device = 0;
        std::uint32_t app = 0;                 ///< index into `apps`
        std::optional<std::uint32_t> site;     ///< index into `sites`
        std::optional<std::uint32_t> category; ///< index into `categories`
        std::int64_t seconds = 0; ///< of all runs; more than a slot has when some overlap

        bool operator==(const Entry&) const = default;
    };

    /// One of the titles that were longest in front; equal ones by application and text.
    struct Title
    {
        std::uint32_t app = 0;
        std::string text;
        std::int64_t seconds = 0;

        bool operator==(const Title&) const = default;
    };

    std::vector<std::string> apps; ///< these three in the order of their bytes
    std::vector<std::string> sites;
    std::vector<std::string> categories;
    std::vector<Entry> entries;
    /// In how many seconds of each slot any device was active.
    std::array<std::uint16_t, kSlots> anyDevice = {};
    std::vector<Title> titles; ///< longest first

    [[nodiscard]] bool isEmpty() const { return entries.empty(); }

    /// All entries, within the bounds of 64 bits.
    [[nodiscard]] std::int64_t seconds() const;

    bool operator==(const DayPack&) const = default;
};

/// Adds up what of runs lies on a day. A run counts where it lies; what has no duration or begins
/// outside of the years that are counted does not. Memory grows with the texts that differ and with
/// what they make entries of, up to the bounds of DayPack, about 100 MB, whatever was uploaded. Any
/// thread, one at a time.
class DayPackBuilder final
{
public:
    /// `day` is since 1970-01-01, UTC. `rules` must live as long as this object.
    DayPackBuilder(std::int64_t day, const CategoryRules& rules);

    void add(const Run& run);

    /// What all of them come to.
    [[nodiscard]] DayPack pack() const;

private:
    /// Texts, each with the number of those before it.
    using Texts = std::map<std::string, std::uint32_t, std::less<>>;
    using Seconds = std::map<std::string, std::int64_t, std::less<>>;
    using Number = std::optional<std::uint32_t>;
    /// Slot, device, application, site, category.
    using Key = std::tuple<std::uint32_t, std::int64_t, std::uint32_t, Number, Number>;

    [[nodiscard]] static std::uint32_t numberOf(Texts& texts, std::string_view text);
    /// Where the seconds of such a run count, apart from the slot.
    [[nodiscard]] Key keyOf(const Run& run);
    void addTitle(std::uint32_t app, const std::string& title, std::int64_t seconds);
    void tellNothingApart();

    std::int64_t m_day;
    const CategoryRules& m_rules;
    Texts m_apps;
    Texts m_sites;
    Texts m_categories;
    std::map<Key, std::int64_t> m_sums;
    std::vector<Seconds> m_titles; ///< of each application
    std::size_t m_differentTitles = 0;
    std::optional<std::int64_t> m_firstDevice; ///< the one with the least number
    bool m_tellsApart = true;
    /// Of each slot the seconds in which any device was active.
    std::vector<std::bitset<DayPack::kSecondsOfASlot>> m_active;
};

/// The sum within the bounds of 64 bits.
[[nodiscard]] std::int64_t saturatingSum(std::int64_t a, std::int64_t b);

} // namespace service
