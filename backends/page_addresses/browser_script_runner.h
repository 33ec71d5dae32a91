// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/page_addresses/address_source.h"
#include "platform/script_runner.h"

#include <functional>
#include <optional>
#include <vector>

namespace platform::browsers {

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
