// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/proxy_lookup.h"

#include "platform/linux/qt/service_address.h"

#include <QtConcurrent>

namespace platform::qt {

QFuture<void> ProxyLookup::ask(const QUrl& url)
{
    if (isLoopback(url)) {
        m_answers.remove(url.host());
        return QtFuture::makeReadyFuture();
    }
    const auto answer =
        QtConcurrent::run([query = QNetworkProxyQuery(url)] { return systemProxyForQuery(query); });
    m_answers.insert(url.host(), answer);
    return QFuture<void>(answer);
}

QList<QNetworkProxy> ProxyLookup::queryProxy(const QNetworkProxyQuery& query)
{
    const auto answer = m_answers.constFind(query.url().host());
    if (answer == m_answers.cend() || !answer->isFinished() || answer->resultCount() == 0)
        return {QNetworkProxy::NoProxy};
    return answer->result();
}

} // namespace platform::qt
