// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace platform::wayland {

/// A window as a compositor tells of it. Texts are UTF-8, but for what a program got wrong.
struct Toplevel
{
    std::uint64_t number = 0; ///< Tells windows apart, never 0, never given twice.
    std::string appId;        ///< Empty when it has none or one of more than 1 KiB.
    std::optional<std::string> title;
    std::uint64_t activation = 0; ///< Grows from one that got the focus to the next; 0 without it.
    std::int32_t processIdentifier = 0; ///< 0 while it is not known.
};

/// The windows of a desktop. What is told of one counts only when the compositor has said that it
/// is complete.
/// One thread at a time.
class ToplevelList final
{
public:
    /// Whoever opens more windows than this has gone wrong.
    static constexpr std::size_t kMost = 4096;
    static constexpr std::size_t kLongestTitle = 16384; // bytes
    static constexpr std::size_t kLongestAppId = 1024;  // bytes

    /// What a window is told by. Not looked at.
    using Key = const void*;

    /// A new window; false when there are too many, or that one already.
    [[nodiscard]] bool add(Key key);

    /// News of a window; of one that is not listed they are dropped.
    void setTitle(Key key, std::string_view title);
    void setAppId(Key key, std::string_view appId);
    void setActivated(Key key, bool activated);

    /// The process of the window in front is known now; it stays the window's. Counts at once.
    void setFrontProcess(std::int32_t process);

    /// What was told of a window since the last call counts from now on, all at once.
    void apply(Key key);

    void remove(Key key);
    void clear();

    /// The window that has the focus; of several the one that got it last. Null when none has.
    /// Good until the next change.
    [[nodiscard]] const Toplevel* front() const { return m_front; }

    [[nodiscard]] std::size_t size() const { return m_windows.size(); }

private:
    struct Window
    {
        Toplevel shown;
        std::optional<std::string> title;
        std::optional<std::string> appId;
        std::optional<bool> activated;
    };

    [[nodiscard]] Window* find(Key key);
    void chooseFront();

    std::unordered_map<Key, Window> m_windows;
    Toplevel* m_front = nullptr;
    std::uint64_t m_lastNumber = 0;
    std::uint64_t m_lastActivation = 0;
};

} // namespace platform::wayland
