// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/proxy_lookup.h"

#include "backends/qt/service_address.h"

#include <QPromise>
#include <QtConcurrent>

namespace platform::qt {

QFuture<void> ProxyLookup::ask(const QUrl& url)
{
    if (isLoopback(url)) {
        m_answers.remove(url.host());
        // By hand: Qt 6.4 has another function for it than Qt 6.10, and 6.8 warns of the former.
        QPromise<void> nothing;
        nothing.start();
        nothing.finish();
        return nothing.future();
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
