// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/xdg/known_browsers.h"
#include "platform/script_runner.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

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

/// Understands the two texts that ask a browser for the address on show: the one for Google Chrome
/// asks the family of Chromium, the one for Safari all others. Each asks about the window in front.
/// Main thread.
class BrowserScriptRunner final : public ScriptRunner
{
public:
    /// The window in front if it is one of a known browser of this family; none otherwise.
    using FrontWindow = std::function<std::optional<FrontBrowser>(Family)>;

    /// The sources are asked in order, and must outlive this.
    BrowserScriptRunner(FrontWindow front, std::vector<AddressSource*> sources);

    /// The address without a name and password, whoever told it. No text where no source knows, and
    /// when the window is one of Tor Browser: then no source is asked. Never waits.
    [[nodiscard]] Result<std::optional<QString>> run(QStringView source) override;

private:
    FrontWindow m_front;
    std::vector<AddressSource*> m_sources;
};

} // namespace platform::browsers
