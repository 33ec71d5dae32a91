// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/http_transfer.h"

#include "platform/build_config.h"
#include "platform/linux/qt/body_device.h"
#include "platform/linux/qt/proxy_lookup.h"
#include "platform/linux/qt/service_address.h"
#include "platform/linux/qt/transfer_failures.h"
#include "platform/wipe.h"

#include <utility>

namespace platform::qt {

namespace {

constexpr int kMostRedirects = 16;
constexpr int kFirstErrorStatus = 400;
constexpr int kTemporaryRedirect = 307;
constexpr int kPermanentRedirect = 308;

/// True where `error` is only Qt's word for the status of a complete answer.
bool isAboutStatus(int status, QNetworkReply::NetworkError error)
{
    return status >= kFirstErrorStatus && error >= QNetworkReply::ContentAccessDenied &&
           error != QNetworkReply::ProtocolUnknownError && error != QNetworkReply::ProtocolFailure;
}

bool isAuthorization(const HttpHeader& header)
{
    return header.name.compare("Authorization", Qt::CaseInsensitive) == 0;
}

} // namespace

HttpTransfer::HttpTransfer(QNetworkAccessManager& network,
                           ProxyLookup& proxies,
                           const QSslConfiguration& tls,
                           const HttpRequest& request,
                           QObject* parent)
    : QObject(parent)
    , m_network(network)
    , m_proxies(proxies)
    , m_tls(tls)
    , m_request(request)
    , m_firstUrl(request.url, QUrl::StrictMode)
{
    m_promise.start();
    m_idle.setSingleShot(true);
    m_idle.setInterval(request.idleLimit);
    connect(
        &m_idle, &QTimer::timeout, this, [this] { giveUp(timedOut(m_url, m_request.idleLimit)); });
}

HttpTransfer::~HttpTransfer()
{
    if (!m_promise.future().isFinished())
        giveUp(cancelled(m_url));
}

void HttpTransfer::start()
{
    if (maySendTo(m_firstUrl))
        sendTo(m_firstUrl);
    else
        finish(notEncrypted(m_firstUrl));
}

void HttpTransfer::sendTo(const QUrl& url)
{
    m_url = url;
    m_body.clear();
    m_idle.start();
    m_proxies.ask(url).then(this, [this] {
        if (!m_promise.future().isFinished())
            send();
    });
}

void HttpTransfer::send()
{
    const QNetworkRequest request = networkRequest(m_url);
    m_reply.reset(open(request));
    const auto restartIdle = [this] {
        m_idle.start();
    };
    connect(m_reply.get(), &QNetworkReply::uploadProgress, &m_idle, restartIdle);
    connect(m_reply.get(), &QNetworkReply::metaDataChanged, &m_idle, restartIdle);
    connect(m_reply.get(), &QNetworkReply::readyRead, this, &HttpTransfer::takeBody);
    connect(m_reply.get(), &QNetworkReply::sslErrors, this, [this](const QList<QSslError>& errors) {
        m_tlsErrors = errors;
    });
    connect(m_reply.get(), &QNetworkReply::finished, this, &HttpTransfer::onFinished);
}

QNetworkReply* HttpTransfer::open(const QNetworkRequest& request)
{
    if (m_request.method == HttpMethod::Get)
        return m_network.get(request);
    if (!m_request.streamedBody)
        return m_network.post(request, m_request.body);
    auto* const body = new BodyDevice(*m_request.streamedBody);
    QNetworkReply* const reply = m_network.post(request, body);
    body->setParent(reply);
    return reply;
}

QNetworkRequest HttpTransfer::networkRequest(const QUrl& url) const
{
    QNetworkRequest request(url);
    request.setSslConfiguration(m_tls);
    // Qt's own following would take the token to other hosts and turn an upload into a GET.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setRawHeader("User-Agent",
                         QByteArray("Quillstep/").append(kVersion.data(), kVersion.size()));
    // Minutes lie between requests: a connection that is kept is likely to be dead when it is
    // needed.
    request.setRawHeader("Connection", "close");
    for (const HttpHeader& header : m_request.headers) {
        if (!m_leftOrigin || !isAuthorization(header))
            request.setRawHeader(header.name, header.value);
    }
    return request;
}

void HttpTransfer::takeBody()
{
    m_idle.start();
    m_body += m_reply->readAll();
    if (m_body.size() <= m_request.answerLimit)
        return;
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_request.longAnswer == LongAnswer::Fails)
        giveUp(tooLong(m_url, m_request.answerLimit));
    else
        giveUp(HttpResponse{.status = status, .body = m_body.first(m_request.answerLimit)});
}

void HttpTransfer::giveUp(const HttpOutcome& outcome)
{
    if (m_reply != nullptr)
        m_reply->disconnect(this);
    m_reply.reset(); // which ends it; abort() would complain where an error status has come
    finish(outcome);
}

void HttpTransfer::onFinished()
{
    m_idle.stop();
    const QVariant attribute = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const auto status = attribute.isValid() ? std::optional(attribute.toInt()) : std::nullopt;
    m_body += m_reply->readAll();
    if (status && follow(*status))
        return;
    forgetSecrets();
    finish(received(status));
}

/// Qt shares what it was given for as long as it keeps the reply, and has sent it by now.
void HttpTransfer::forgetSecrets()
{
    if (m_request.hasSecretBody)
        overwriteForAll(m_request.body);
    for (const HttpHeader& header : std::as_const(m_request.headers)) {
        if (isAuthorization(header))
            overwriteForAll(header.value);
    }
}

/// Sends the request on if the answer says so; false when it is the answer itself.
bool HttpTransfer::follow(int status)
{
    if (status != kTemporaryRedirect && status != kPermanentRedirect)
        return false;
    const QUrl target = redirectTarget(m_url, m_reply->rawHeader("Location"));
    if (!target.isValid())
        return false;
    const bool isDowngrade = m_url.scheme() == QLatin1StringView("https") &&
                             target.scheme() != QLatin1StringView("https");
    if (isDowngrade || !maySendTo(target)) {
        finish(insecureRedirect(m_url, target));
    } else if (m_redirects == kMostRedirects) {
        finish(tooManyRedirects(m_firstUrl));
    } else {
        ++m_redirects;
        // For good: on the way back the token would pass for one that the other host has chosen.
        m_leftOrigin = m_leftOrigin || !isSameOrigin(m_firstUrl, target);
        sendTo(target);
    }
    return true;
}

HttpOutcome HttpTransfer::received(std::optional<int> status) const
{
    const QNetworkReply::NetworkError error = m_reply->error();
    if (!status && (error == QNetworkReply::ProtocolFailure || error == QNetworkReply::NoError))
        return NotHttp{};
    if (!status || (error != QNetworkReply::NoError && !isAboutStatus(*status, error)))
        return failureOf(error, m_reply->errorString(), m_tlsErrors, m_url);
    if (isIncomplete())
        return endedEarly(m_url);
    return HttpResponse{.status = *status, .body = m_body};
}

/// True when the answer announced more bytes than came: Qt does not mind.
bool HttpTransfer::isIncomplete() const
{
    if (m_reply->hasRawHeader("Content-Encoding"))
        return false; // the announced length is that before decompression
    bool isNumber = false;
    const qint64 announced = m_reply->rawHeader("Content-Length").toLongLong(&isNumber);
    return isNumber && m_body.size() < announced;
}

void HttpTransfer::finish(const HttpOutcome& outcome)
{
    m_idle.stop();
    m_promise.addResult(outcome);
    m_promise.finish();
    deleteLater();
}

} // namespace platform::qt
