// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPromise>
#include <QSslConfiguration>
#include <QTimer>

#include <memory>
#include <optional>

namespace platform::qt {

class ProxyLookup;

/// One request on its way, over its redirects, to one outcome.
/// Main thread.
class HttpTransfer final : public QObject
{
    Q_OBJECT

public:
    /// `network` and `proxies`, which is in use there, must outlive the transfer.
    HttpTransfer(QNetworkAccessManager& network,
                 ProxyLookup& proxies,
                 const QSslConfiguration& tls,
                 const HttpRequest& request,
                 QObject* parent);
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    /// Gives up what still runs; the outcome is then a failure.
    ~HttpTransfer() override;

    [[nodiscard]] QFuture<HttpOutcome> outcome() const { return m_promise.future(); }

    /// Sends the request. Once.
    void start();

private:
    void sendTo(const QUrl& url);
    void send();
    [[nodiscard]] QNetworkReply* open(const QNetworkRequest& request);
    [[nodiscard]] QNetworkRequest networkRequest(const QUrl& url) const;
    void takeBody();
    void giveUp(const HttpOutcome& outcome);
    void onFinished();
    [[nodiscard]] bool follow(int status);
    [[nodiscard]] HttpOutcome received(std::optional<int> status) const;
    [[nodiscard]] bool isIncomplete() const;
    void finish(const HttpOutcome& outcome);
    void forgetSecrets();

    QNetworkAccessManager& m_network;
    ProxyLookup& m_proxies;
    QSslConfiguration m_tls;
    HttpRequest m_request;
    QPromise<HttpOutcome> m_promise;
    QUrl m_firstUrl;
    QUrl m_url;
    int m_redirects = 0;
    bool m_leftOrigin = false;
    std::unique_ptr<QNetworkReply, QScopedPointerDeleteLater> m_reply;
    QByteArray m_body;
    QList<QSslError> m_tlsErrors;
    QTimer m_idle;
};

} // namespace platform::qt
