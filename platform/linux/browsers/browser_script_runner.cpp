// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/browser_script_runner.h"

#include "platform/linux/browsers/page_title.h"
#include "platform/linux/browsers/user_information.h"

#include <utility>

namespace platform::browsers {

namespace {

constexpr QStringView kChromeScript =
    u"tell application \"Google Chrome\" to return URL of active tab of front window";
constexpr QStringView kSafariScript =
    u"tell application \"Safari\" to return URL of front document";

std::optional<Family> askedBy(QStringView source)
{
    if (source == kChromeScript)
        return Family::Chromium;
    if (source == kSafariScript)
        return Family::Other;
    return std::nullopt;
}

} // namespace

BrowserScriptRunner::BrowserScriptRunner(std::function<std::optional<FrontBrowser>()> front,
                                         std::vector<AddressSource*> sources)
    : m_front(std::move(front))
    , m_sources(std::move(sources))
{
}

Result<std::optional<QString>> BrowserScriptRunner::run(QStringView source)
{
    const auto family = askedBy(source);
    if (!family)
        return Error{QStringLiteral("the script is not understood")};
    const auto front = m_front();
    if (!front || front->family != *family || isWindowOfTorBrowser(front->windowTitle))
        return std::optional<QString>();
    for (AddressSource* candidate : m_sources) {
        if (const auto address = candidate->addressIn(*front))
            return std::optional(withoutUserInformation(*address));
    }
    return std::optional<QString>();
}

} // namespace platform::browsers
