// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "account/service_client.h"

#include "base/uuid.h"

#include <QUrl>

namespace account {

std::optional<QString> serviceEndpoint(const QString& serviceUrl, const QString& path)
{
    const QUrl url(serviceUrl + path, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return url.toString(QUrl::FullyEncoded);
}

QString deviceIdentity(platform::UserDefaults& defaults, const QString& key)
{
    if (const std::optional<QString> stored = defaults.string(key))
        return *stored;
    const auto text = platform::Uuid::random().toText();
    const QString created = QString::fromLatin1(text.data(), text.size());
    defaults.setString(key, created);
    return created;
}

} // namespace account
