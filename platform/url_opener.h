// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/build_config.h"

#include <QLatin1StringView>
#include <QString>

namespace platform {

/// True for an address of our own scheme (RFC 3986: in any case).
[[nodiscard]] inline bool isOwnUrl(QStringView url)
{
    constexpr QLatin1StringView kPrefix(kUrlPrefix.data(), kUrlPrefix.size());
    return url.startsWith(kPrefix, Qt::CaseInsensitive);
}

/// Has the desktop open addresses.
/// Main thread; never blocks.
class UrlOpener
{
public:
    UrlOpener() = default;
    UrlOpener(const UrlOpener&) = delete;
    UrlOpener& operator=(const UrlOpener&) = delete;
    virtual ~UrlOpener() = default;

    /// Opens `url` with the program that the user has chosen for its scheme; an address of our own
    /// scheme comes back to this process on a later turn of the main loop. What becomes of it is
    /// not told.
    virtual void open(const QString& url) = 0;
};

} // namespace platform
