// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/service_address.h"

#include <QHostAddress>

namespace platform::qt {

namespace {

int portOf(const QUrl& url)
{
    return url.port(url.scheme() == QLatin1StringView("https") ? 443 : 80);
}

} // namespace

bool isLoopback(const QUrl& url)
{
    const QString host = url.host();
    if (host == QLatin1StringView("localhost"))
        return true;
    // Only a literal: a name that resolves to this machine today may not do so tomorrow.
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

bool maySendTo(const QUrl& url)
{
    if (!url.isValid() || url.host().isEmpty())
        return false;
    return url.scheme() == QLatin1StringView("https") ||
           (url.scheme() == QLatin1StringView("http") && isLoopback(url));
}

bool isSameOrigin(const QUrl& one, const QUrl& other)
{
    return one.scheme() == other.scheme() && one.host() == other.host() &&
           portOf(one) == portOf(other);
}

QUrl redirectTarget(const QUrl& from, const QByteArray& location)
{
    const QUrl target = QUrl::fromEncoded(location, QUrl::StrictMode);
    return location.isEmpty() || !target.isValid() ? QUrl() : from.resolved(target);
}

} // namespace platform::qt
