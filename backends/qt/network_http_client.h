// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QObject>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <memory>

class QNetworkAccessManager;

namespace platform::qt {

/// True for an address by which this machine reaches itself: localhost, 127.0.0.0/8, ::1.
[[nodiscard]] bool isLoopback(const QUrl& url);

/// True where a password may be sent: https with a host, or http to this machine.
[[nodiscard]] bool maySendTo(const QUrl& url);

/// True when scheme, host and port are the same (RFC 6454, section 5).
[[nodiscard]] bool isSameOrigin(const QUrl& one, const QUrl& other);

/// Where an answer with `location` in its header sends on to, seen from `from`; an invalid address
/// when it names none.
[[nodiscard]] QUrl redirectTarget(const QUrl& from, const QByteArray& location);

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
