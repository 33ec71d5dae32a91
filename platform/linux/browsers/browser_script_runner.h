// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/browsers/address_source.h"
#include "platform/script_runner.h"

#include <functional>
#include <optional>
#include <vector>

namespace platform::browsers {

/// Understands the two texts that ask a browser for the address on show: the one for Google Chrome
/// asks the family of Chromium, the one for Safari all others.
/// Main thread.
class BrowserScriptRunner final : public ScriptRunner
{
public:
    /// `front` tells the browser window in front, none when there is none. The sources are asked in
    /// order, and must outlive this.
    BrowserScriptRunner(std::function<std::optional<FrontBrowser>()> front,
                        std::vector<AddressSource*> sources);

    /// The address without a name and password, whoever told it. No text where no source knows,
    /// when another window is in front meanwhile, and when it is one of Tor Browser: then no source
    /// is asked. Never waits.
    [[nodiscard]] Result<std::optional<QString>> run(QStringView source) override;

private:
    std::function<std::optional<FrontBrowser>()> m_front;
    std::vector<AddressSource*> m_sources;
};

} // namespace platform::browsers
