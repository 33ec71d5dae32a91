// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/service_endpoint.h"

#include <QUrl>

namespace account {

std::optional<QString> serviceEndpoint(const QString& serviceUrl, const QString& path)
{
    const QUrl url(serviceUrl + path, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return url.toString(QUrl::FullyEncoded);
}

} // namespace account
