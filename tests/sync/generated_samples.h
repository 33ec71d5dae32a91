// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "activity/activity_list.h"

#include <array>
#include <optional>
#include <random>
#include <string>
#include <vector>

/// Random input for properties. What std::mt19937_64 yields is fixed by the language, the
/// distributions of the library are not: so none is used, and a seed means the same everywhere.
class Generator final
{
public:
    explicit Generator(unsigned seed)
        : m_random(seed)
    {
    }

    /// From 0 to below `limit`.
    [[nodiscard]] std::size_t below(std::size_t limit)
    {
        return static_cast<std::size_t>(m_random() % limit);
    }

    [[nodiscard]] bool oneIn(std::size_t count) { return below(count) == 0; }

    template <typename T> void shuffle(std::vector<T>& values)
    {
        for (std::size_t i = values.size(); i > 1; --i)
            std::swap(values[i - 1], values[below(i)]);
    }

    /// Up to `most` samples of few applications, titles and addresses, in order, at instants and
    /// with durations in quarters of a second: every sum of them is exact.
    [[nodiscard]] std::vector<activity::ActivityLog> samples(std::size_t most,
                                                             bool distinctInstants)
    {
        std::vector<activity::ActivityLog> made(below(most + 1));
        double now = 785000000;
        for (activity::ActivityLog& log : made) {
            log.appName = text(oneIn(8) ? 1 : 0);
            log.windowTitle = oneIn(10) ? std::nullopt : std::optional(text(oneIn(6) ? 2 : 3));
            log.url = oneIn(5) ? std::nullopt : std::optional(text(oneIn(8) ? 2 : 4));
            const std::size_t least = distinctInstants ? 1 : 0;
            now += 0.25 * static_cast<double>(least + below(oneIn(6) ? 30 : 6));
            log.timestamp = now;
            log.duration = 0.25 * static_cast<double>(below(9));
        }
        return made;
    }

private:
    /// A copy of one of a few texts; half of the time in a buffer of its own.
    [[nodiscard]] activity::SharedText text(std::size_t index)
    {
        static const std::array<activity::SharedText, 5> known = {
            activity::SharedText("Editor"),
            activity::SharedText("editor"),
            activity::SharedText(""),
            activity::SharedText("a title"),
            activity::SharedText("https://example.com/a?b#c"),
        };
        return oneIn(2) ? known[index] : activity::SharedText(known[index].view());
    }

    std::mt19937_64 m_random;
};
