// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/network_http_client.h"

#include <QNetworkAccessManager>

namespace platform::qt {

NetworkHttpClient::NetworkHttpClient(const QSslConfiguration& tls)
    : m_tls(tls)
{
}

NetworkHttpClient::~NetworkHttpClient() = default;

QFuture<HttpOutcome> NetworkHttpClient::send(const HttpRequest&)
{
    QPromise<HttpOutcome> promise;
    promise.start();
    promise.addResult(NotHttp{});
    promise.finish();
    return promise.future();
}

} // namespace platform::qt
