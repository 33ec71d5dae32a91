// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/browsers/user_information.h"

#include <algorithm>

namespace platform::browsers {

namespace {

constexpr QLatin1StringView kBeforeHost("//");

/// Also of more than one scheme, as in "view-source:https:".
bool isOfSchemes(QChar c)
{
    return (c.unicode() < 0x80 && c.isLetterOrNumber()) || c == u'+' || c == u'-' || c == u'.' ||
           c == u':';
}

/// As browsers cut an address: a backslash ends the host, too.
bool endsHost(QChar c)
{
    return c == u'/' || c == u'\\' || c == u'?' || c == u'#';
}

} // namespace

QString withoutUserInformation(const QString& address)
{
    const qsizetype schemes = address.indexOf(kBeforeHost);
    if (schemes <= 0 || address[schemes - 1] != u':' ||
        !std::all_of(address.cbegin(), address.cbegin() + schemes, isOfSchemes))
        return address;
    const qsizetype begin = schemes + kBeforeHost.size();
    const auto* const end = std::find_if(address.cbegin() + begin, address.cend(), endsHost);
    const qsizetype at = QStringView(address.cbegin(), end).lastIndexOf(u'@');
    return at < begin ? address : address.first(begin) + address.sliced(at + 1);
}

} // namespace platform::browsers
