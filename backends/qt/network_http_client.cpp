// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"

#include "backends/qt/http_transfer.h"

namespace platform::qt {

NetworkHttpClient::NetworkHttpClient(const QSslConfiguration& tls)
    : m_tls(tls)
{
    m_tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
}

QFuture<HttpOutcome> NetworkHttpClient::send(const HttpRequest& request)
{
    if (m_network == nullptr) {
        m_network = std::make_unique<QNetworkAccessManager>();
        m_proxies = new ProxyLookup;
        m_network->setProxyFactory(m_proxies);
    }
    auto* const transfer = new HttpTransfer(*m_network, *m_proxies, m_tls, request, &m_transfers);
    QFuture<HttpOutcome> outcome = transfer->outcome();
    transfer->start();
    return outcome;
}

} // namespace platform::qt
