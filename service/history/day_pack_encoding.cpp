// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/history/day_pack_encoding.h"

#include <cstdint>
#include <limits>
#include <utility>

namespace service {

namespace {

constexpr std::uint64_t kVersion = 1;

void put(std::string& out, std::uint64_t number)
{
    for (; number >= 0x80; number >>= 7U)
        out += static_cast<char>((number & 0x7FU) | 0x80U);
    out += static_cast<char>(number);
}

void put(std::string& out, std::int64_t number)
{
    put(out, static_cast<std::uint64_t>(number));
}

void put(std::string& out, std::string_view text)
{
    put(out, static_cast<std::uint64_t>(text.size()));
    out += text;
}

void put(std::string& out, const std::vector<std::string>& texts)
{
    put(out, static_cast<std::uint64_t>(texts.size()));
    for (const std::string& text : texts)
        put(out, std::string_view(text));
}

std::uint64_t orNone(const std::optional<std::uint32_t>& index)
{
    return index ? *index + 1ULL : 0ULL;
}

/// Takes what was put; after the first fault everything is 0 and ok() false.
class Reader final
{
public:
    explicit Reader(std::string_view bytes)
        : m_left(bytes)
    {
    }

    std::uint64_t number()
    {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            if (m_left.empty())
                break;
            const auto byte = static_cast<unsigned char>(m_left.front());
            m_left.remove_prefix(1);
            value |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
            if (byte < 0x80)
                return value;
        }
        m_ok = false;
        m_left = {};
        return 0;
    }

    std::uint64_t below(std::uint64_t limit)
    {
        const std::uint64_t value = number();
        if (value < limit)
            return value;
        m_ok = false;
        return 0;
    }

    /// How many of something that takes at least a byte each.
    std::size_t count() { return static_cast<std::size_t>(below(m_left.size() + 1)); }

    std::string text()
    {
        const std::size_t size = count();
        if (size > m_left.size()) {
            m_ok = false;
            return {};
        }
        std::string taken(m_left.substr(0, size));
        m_left.remove_prefix(size);
        return taken;
    }

    std::vector<std::string> texts()
    {
        std::vector<std::string> all(count());
        for (std::string& text : all)
            text = this->text();
        return all;
    }

    std::optional<std::uint32_t> indexOrNone(std::size_t size)
    {
        const std::uint64_t value = below(size + 1ULL);
        return value == 0 ? std::nullopt : std::optional(static_cast<std::uint32_t>(value - 1));
    }

    [[nodiscard]] bool ok() const { return m_ok; }

    [[nodiscard]] bool atEnd() const { return m_left.empty(); }

private:
    std::string_view m_left;
    bool m_ok = true;
};

} // namespace

std::string encodePack(const DayPack& pack)
{
    std::string out;
    put(out, kVersion);
    put(out, pack.apps);
    put(out, pack.sites);
    put(out, pack.categories);
    put(out, static_cast<std::uint64_t>(pack.entries.size()));
    for (const DayPack::Entry& entry : pack.entries) {
        put(out, static_cast<std::uint64_t>(entry.slot));
        put(out, entry.device);
        put(out, static_cast<std::uint64_t>(entry.app));
        put(out, orNone(entry.site));
        put(out, orNone(entry.category));
        put(out, entry.seconds);
    }
    for (const std::uint16_t seconds : pack.anyDevice)
        put(out, static_cast<std::uint64_t>(seconds));
    put(out, static_cast<std::uint64_t>(pack.titles.size()));
    for (const DayPack::Title& title : pack.titles) {
        put(out, static_cast<std::uint64_t>(title.app));
        put(out, std::string_view(title.text));
        put(out, title.seconds);
    }
    return out;
}

std::optional<DayPack> decodePack(std::string_view bytes)
{
    Reader reader(bytes);
    if (reader.number() != kVersion)
        return std::nullopt;
    DayPack pack;
    pack.apps = reader.texts();
    pack.sites = reader.texts();
    pack.categories = reader.texts();
    pack.entries.resize(reader.count());
    for (DayPack::Entry& entry : pack.entries) {
        entry.slot = static_cast<std::uint32_t>(reader.below(DayPack::kSlots));
        entry.device = static_cast<std::int64_t>(reader.number());
        entry.app = static_cast<std::uint32_t>(reader.below(pack.apps.size()));
        entry.site = reader.indexOrNone(pack.sites.size());
        entry.category = reader.indexOrNone(pack.categories.size());
        entry.seconds = static_cast<std::int64_t>(reader.number());
    }
    for (std::uint16_t& seconds : pack.anyDevice)
        seconds = static_cast<std::uint16_t>(reader.below(DayPack::kSecondsOfASlot + 1));
    pack.titles.resize(reader.count());
    for (DayPack::Title& title : pack.titles) {
        title.app = static_cast<std::uint32_t>(reader.below(pack.apps.size()));
        title.text = reader.text();
        title.seconds = static_cast<std::int64_t>(reader.number());
    }
    if (!reader.ok() || !reader.atEnd())
        return std::nullopt;
    return pack;
}

} // namespace service
