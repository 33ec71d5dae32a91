// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "sync/error_body.h"

#include <QUtf8StringView>

#include <algorithm>

namespace syncing {

namespace {

constexpr qsizetype kLongestPartialCharacter = 3;

} // namespace

std::optional<QString> errorBodyText(const QByteArray& body, qsizetype limit)
{
    const qsizetype mayLack =
        body.size() < limit ? 0 : std::min(kLongestPartialCharacter, body.size());
    for (qsizetype left = 0; left <= mayLack; ++left) {
        const QByteArray whole = body.chopped(left);
        if (QUtf8StringView(whole).isValidUtf8())
            return QString::fromUtf8(whole);
    }
    return std::nullopt;
}

} // namespace syncing
