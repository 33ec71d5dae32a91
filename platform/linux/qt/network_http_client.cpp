// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/network_http_client.h"

#include "platform/linux/qt/http_transfer.h"
#include "platform/linux/qt/service_address.h"

#include <QNetworkProxy>

namespace platform::qt {

namespace {

/// The proxies of the environment, but none to this machine.
class Proxies final : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override
    {
        if (isLoopback(query.url()))
            return {QNetworkProxy::NoProxy};
        return systemProxyForQuery(query);
    }
};

} // namespace

NetworkHttpClient::NetworkHttpClient(const QSslConfiguration& tls)
    : m_tls(tls)
{
    m_tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
}

QFuture<HttpOutcome> NetworkHttpClient::send(const HttpRequest& request)
{
    if (m_network == nullptr) {
        m_network = std::make_unique<QNetworkAccessManager>();
        m_network->setProxyFactory(new Proxies);
    }
    auto* const transfer = new HttpTransfer(*m_network, m_tls, request, m_network.get());
    QFuture<HttpOutcome> outcome = transfer->outcome();
    transfer->start();
    return outcome;
}

} // namespace platform::qt
