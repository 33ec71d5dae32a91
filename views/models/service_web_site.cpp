// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/service_web_site.h"

#include <QUrl>

namespace views {

QString serviceHost(const QString& serviceUrl)
{
    return QUrl(serviceUrl).host();
}

QString serviceWebSite(const QString& serviceUrl)
{
    QUrl site;
    site.setScheme(QStringLiteral("https"));
    site.setHost(serviceHost(serviceUrl));
    return site.toString();
}

} // namespace views
