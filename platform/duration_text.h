// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <memory>

namespace platform {

/// Writes spans of time in hours, minutes and seconds, abbreviated and in English,
/// whatever the user's language: "1h 5m 3s". Costly to make, cheap to use: keep one. One thread at
/// a time.
class DurationText final
{
public:
    DurationText();
    DurationText(const DurationText&) = delete;
    DurationText& operator=(const DurationText&) = delete;
    ~DurationText();

    /// `seconds`, its fraction cut off, in those units that are not zero; there are no days. A
    /// negative span has one minus sign before it. "0s" for what is not finite and where the
    /// system has no data for English.
    [[nodiscard]] QString text(double seconds) const;

private:
    struct Format;
    std::unique_ptr<const Format> m_format; // null without data
};

} // namespace platform
