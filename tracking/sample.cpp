// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tracking/sample.h"

#include "base/truncated.h"

namespace tracking {

namespace {

constexpr QLatin1StringView kUnknown("Unknown");
constexpr QLatin1StringView kNoAddress("--");
constexpr QStringView kChromeScript =
    u"tell application \"Google Chrome\" to return URL of active tab of front window";
constexpr QStringView kSafariScript =
    u"tell application \"Safari\" to return URL of front document";

} // namespace

bool isIdle(double idleSeconds, double threshold)
{
    return idleSeconds > threshold;
}

QString applicationName(const platform::Application& application)
{
    if (application.localizedName)
        return *application.localizedName;
    return application.bundleIdentifier.value_or(kUnknown);
}

std::optional<QStringView> addressScript(const std::optional<QString>& identifier)
{
    // The identifier carries the dialect that a browser answers to.
    if (identifier && identifier->contains(QLatin1StringView("Chrome")))
        return kChromeScript;
    if (identifier && identifier->contains(QLatin1StringView("Safari")))
        return kSafariScript;
    return std::nullopt;
}

QString tickLine(const QString& name, const QString& title, const std::optional<QString>& address)
{
    const QLatin1StringView bar(" | ");
    return QLatin1StringView("Tick: ") + name + bar + title + bar + address.value_or(kNoAddress);
}

QString idleLine(double idleSeconds)
{
    const auto seconds = platform::truncated(idleSeconds);
    if (!seconds)
        qFatal("The idle time, %f s, is not a number of seconds", idleSeconds);
    return QLatin1StringView("Idle: ") + QString::number(*seconds) + QLatin1Char('s');
}

} // namespace tracking
