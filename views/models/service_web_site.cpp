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
    const QUrl service(serviceUrl);
    QUrl site;
    site.setScheme(service.scheme());
    site.setHost(service.host());
    if (service.scheme() == QLatin1StringView("http"))
        site.setPort(service.port());
    return site.toString();
}

} // namespace views
