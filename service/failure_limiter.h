// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace service {

/// Counts failures for each of many keys in a sliding window, and says who has to wait.
/// Any thread.
class FailureLimiter final
{
public:
    using Clock = std::chrono::steady_clock;

    struct Settings
    {
        /// So many failures within the window are borne.
        std::size_t failures = 10;
        std::chrono::seconds window = std::chrono::minutes(15);
        /// So many keys are remembered; beyond that those that failed longest ago are forgotten.
        std::size_t keys = 20'000;
    };

    explicit FailureLimiter(
        const Settings& settings,
        std::function<Clock::time_point()> now = [] { return Clock::now(); });

    /// How long `key` has to wait; nothing when it need not. Rounded up to whole seconds.
    [[nodiscard]] std::optional<std::chrono::seconds> wait(const std::string& key);

    void addFailure(const std::string& key);

    /// How many keys are remembered.
    [[nodiscard]] std::size_t size() const;

private:
    struct Entry
    {
        std::string key;
        std::deque<Clock::time_point> failures; // oldest first
    };

    void forgetOld(Clock::time_point now);

    Settings m_settings;
    std::function<Clock::time_point()> m_now;
    mutable std::mutex m_mutex;
    std::list<Entry> m_entries; // the one that failed longest ago first
    std::unordered_map<std::string, std::list<Entry>::iterator> m_byKey;
};

} // namespace service
