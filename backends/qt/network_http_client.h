// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QObject>
#include <QSslConfiguration>

#include <memory>

class QNetworkAccessManager;

namespace platform::qt {

class ProxyLookup;

/// HTTP/1.1 over Qt Network, whose own thread does the transfers. To other machines it goes through
/// the proxy that the desktop or the environment prescribes.
/// Transfers that still run when it is destroyed fail.
class NetworkHttpClient final : public HttpClient
{
public:
    /// `tls` says which certificates are trusted; they are always verified.
    explicit NetworkHttpClient(
        const QSslConfiguration& tls = QSslConfiguration::defaultConfiguration());
    ~NetworkHttpClient() override;

    [[nodiscard]] QFuture<HttpOutcome> send(const HttpRequest& request) override;

private:
    QSslConfiguration m_tls;
    std::unique_ptr<QNetworkAccessManager>
        m_network;                    // made with the first request: it takes memory
    ProxyLookup* m_proxies = nullptr; // of the network's
    QObject m_transfers;              // their parent; goes before the network
};

} // namespace platform::qt
