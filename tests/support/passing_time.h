// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

#include <chrono>
#include <functional>

namespace support {

/// That something does not happen shows in no other way than by time that passes: whether `holds`
/// is true all the while, looked at every few milliseconds. False as soon as it is not. Events are
/// handled meanwhile.
[[nodiscard]] inline bool staysSo(std::chrono::milliseconds duration,
                                  const std::function<bool()>& holds)
{
    return !QTest::qWaitFor([&holds] { return !holds(); }, static_cast<int>(duration.count()));
}

/// Lets time pass that is itself a part of the case, such as how long a process was stopped. Never
/// to wait for another: that has a condition. Events are handled meanwhile.
inline void letPass(std::chrono::milliseconds duration)
{
    QTest::qWait(static_cast<int>(duration.count()));
}

} // namespace support
