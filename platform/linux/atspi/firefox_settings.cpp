// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/firefox_settings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <algorithm>
#include <array>

namespace platform::atspi {

namespace {

constexpr QByteArrayView kPreference("browser.privatebrowsing.autostart");
constexpr QByteArrayView kPolicy("PrivateBrowsingModeAvailability");
constexpr int kPolicyForced = 2;

bool isComment(const QByteArray& line)
{
    return (line.startsWith("//") || line.startsWith('#')) && !line.contains("*/");
}

bool lineForgoesHistory(const QByteArray& line)
{
    for (qsizetype at = line.indexOf(kPreference); at >= 0; at = line.indexOf(kPreference, at)) {
        at += kPreference.size();
        const char next = at < line.size() ? line[at] : '"';
        if (next != '"' && next != '\'')
            continue; // a longer name
        QByteArray value = line.mid(at + 1).trimmed();
        if (value.startsWith(','))
            value = value.mid(1).trimmed();
        if (!value.startsWith("false"))
            return true;
    }
    return false;
}

} // namespace

bool preferencesForgoHistory(const QByteArray& text)
{
    if (!text.contains(kPreference))
        return false;
    QByteArray lines = text;
    lines.replace('\r', '\n');
    return std::ranges::any_of(lines.split('\n'), [](const QByteArray& line) {
        const QByteArray trimmed = line.trimmed();
        return !isComment(trimmed) && lineForgoesHistory(trimmed);
    });
}

bool scriptForgoesHistory(const QByteArray& text)
{
    constexpr int kMoved = 13;
    QByteArray clear = text;
    std::ranges::transform(
        clear, clear.begin(), [](char byte) { return static_cast<char>(byte - kMoved); });
    return preferencesForgoHistory(text) || preferencesForgoHistory(clear);
}

bool policiesForgoHistory(const QByteArray& text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        return text.contains(kPreference) || text.contains(kPolicy);
    const QJsonObject policies = document.object().value(QLatin1StringView("policies")).toObject();
    const QJsonValue mode = policies.value(QLatin1StringView(kPolicy));
    if (!mode.isUndefined() && mode.toInt(kPolicyForced) >= kPolicyForced)
        return true;
    const QJsonValue preferences = policies.value(QLatin1StringView("Preferences"));
    if (preferences.isString()) // the object may be told as a text
        return preferences.toString().contains(QLatin1StringView(kPreference));
    QJsonValue preference = preferences.toObject().value(QLatin1StringView(kPreference));
    if (preference.isObject())
        preference = preference.toObject().value(QLatin1StringView("Value"));
    return !preference.isUndefined() && preference.toBool(true);
}

} // namespace platform::atspi
