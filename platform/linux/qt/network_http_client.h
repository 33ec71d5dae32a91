// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QSslConfiguration>

#include <memory>

class QNetworkAccessManager;

namespace platform::qt {

/// HTTP over Qt Network.
class NetworkHttpClient final : public HttpClient
{
public:
    /// `tls` says which certificates are trusted; they are always verified.
    explicit NetworkHttpClient(
        const QSslConfiguration& tls = QSslConfiguration::defaultConfiguration());
    ~NetworkHttpClient() override;

    [[nodiscard]] QFuture<HttpOutcome> send(const HttpRequest& request) override;

private:
    /// Made with the first request: until then it would only cost memory.
    std::unique_ptr<QNetworkAccessManager> m_network;
    QSslConfiguration m_tls;
};

} // namespace platform::qt
