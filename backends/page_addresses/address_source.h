// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/xdg/known_browsers.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace platform::browsers {

/// The browser window in front, as the desktop tells of it at this tick.
struct FrontBrowser
{
    Family family = Family::Chromium;
    /// 0 when the desktop does not tell.
    std::int32_t processIdentifier = 0;
    QString windowTitle;
    /// Tells windows apart, 0 when the desktop does not.
    std::uint64_t window = 0;

    bool operator==(const FrontBrowser&) const = default;
};

/// One way in which a browser tells the address of the page on show. A source keeps itself up to
/// date from what browsers send, or asks them without waiting.
/// Main thread.
class AddressSource
{
public:
    AddressSource() = default;
    AddressSource(const AddressSource&) = delete;
    AddressSource& operator=(const AddressSource&) = delete;
    virtual ~AddressSource() = default;

    /// The address of the page on show in `front`, by the latest that is known and by no means that
    /// of another window, another page or a private one: none when in doubt. Never waits; may make
    /// the source ask, so that it knows at the next tick.
    [[nodiscard]] virtual std::optional<QString> addressIn(const FrontBrowser& front) = 0;

    /// Which source this is and how it is at present, as a phrase for --diagnose.
    [[nodiscard]] virtual QString state() const = 0;
};

} // namespace platform::browsers
