// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"

#include "base/build_config.h"
#include "base/wipe.h"

#include <QFuture>
#include <QHash>
#include <QHostAddress>
#include <QIODevice>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPromise>
#include <QSslError>
#include <QTimer>
#include <QtConcurrent>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace platform::qt {

namespace {

int portOf(const QUrl& url)
{
    return url.port(url.scheme() == QLatin1StringView("https") ? 443 : 80);
}

} // namespace

bool isLoopback(const QUrl& url)
{
    const QString host = url.host();
    if (host == QLatin1StringView("localhost"))
        return true;
    // Only a literal: a name that resolves to this machine today may not do so tomorrow.
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

bool maySendTo(const QUrl& url)
{
    if (!url.isValid() || url.host().isEmpty())
        return false;
    return url.scheme() == QLatin1StringView("https") ||
           (url.scheme() == QLatin1StringView("http") && isLoopback(url));
}

bool isSameOrigin(const QUrl& one, const QUrl& other)
{
    return one.scheme() == other.scheme() && one.host() == other.host() &&
           portOf(one) == portOf(other);
}

QUrl redirectTarget(const QUrl& from, const QByteArray& location)
{
    const QUrl target = QUrl::fromEncoded(location, QUrl::StrictMode);
    return location.isEmpty() || !target.isValid() ? QUrl() : from.resolved(target);
}

/// The proxies that the desktop or the environment (https_proxy, no_proxy) prescribes, asked for in
/// the background: the system's answer may take a download. There is none to this machine.
/// Main thread.
class ProxyLookup final : public QNetworkProxyFactory
{
public:
    /// Asks for the way to `url`. Once the future is finished, queryProxy() knows it.
    [[nodiscard]] QFuture<void> ask(const QUrl& url)
    {
        if (isLoopback(url)) {
            m_answers.remove(url.host());
            // By hand: Qt 6.4 has another function for it than Qt 6.10, and 6.8 warns of the
            // former.
            QPromise<void> nothing;
            nothing.start();
            nothing.finish();
            return nothing.future();
        }
        const auto answer = QtConcurrent::run(
            [query = QNetworkProxyQuery(url)] { return systemProxyForQuery(query); });
        m_answers.insert(url.host(), answer);
        return QFuture<void>(answer);
    }

    /// What ask() has found for the host; the direct way before that.
    [[nodiscard]] QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override
    {
        const auto answer = m_answers.constFind(query.url().host());
        if (answer == m_answers.cend() || !answer->isFinished() || answer->resultCount() == 0)
            return {QNetworkProxy::NoProxy};
        return answer->result();
    }

private:
    QHash<QString, QFuture<QList<QNetworkProxy>>> m_answers;
};

namespace {

// For developers; off by default. Says neither addresses nor what was sent.
Q_LOGGING_CATEGORY(lcNetwork, "velomira.network", QtCriticalMsg)

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

/// A body as Qt Network reads it, some kilobytes at a time and only while it is connected.
/// Main thread.
class BodyDevice final : public QIODevice
{
public:
    explicit BodyDevice(StreamedBody body)
        : m_body(std::move(body))
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    [[nodiscard]] qint64 size() const override { return m_body.size; }

    /// Only to the beginning, as when a request is repeated, and to where it is.
    bool seek(qint64 position) override
    {
        if (position == pos())
            return true;
        if (position != 0 || !QIODevice::seek(position))
            return false;
        m_parts = nullptr;
        m_made.clear();
        m_given = 0;
        return true;
    }

protected:
    qint64 readData(char* to, qint64 most) override
    {
        if (!m_parts)
            m_parts = m_body.begin();
        const auto wanted = static_cast<std::size_t>(most);
        if (m_given > 0) {
            m_made.erase(0, m_given);
            m_given = 0;
        }
        while (m_made.size() < wanted && m_parts(m_made)) {
        }
        m_given = std::min(m_made.size(), wanted);
        std::copy_n(m_made.data(), m_given, to);
        return static_cast<qint64>(m_given);
    }

    qint64 writeData(const char* /*from*/, qint64 /*size*/) override { return -1; }

private:
    StreamedBody m_body;
    StreamedBody::Parts m_parts; // none before it is read
    std::string m_made;
    std::size_t m_given = 0; // of that
};

bool isAuthorization(const HttpHeader& header)
{
    return header.name.compare("Authorization", Qt::CaseInsensitive) == 0;
}

/// `url` as far as it may be shown: service addresses have neither user nor query.
QString shown(const QUrl& url)
{
    return url.toString(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment);
}

TransferFailure failure(const char* kind, const QString& text, const QUrl& url)
{
    qCInfo(lcNetwork, "A request failed: %s", kind);
    return {
        .text = text,
        .description = QStringLiteral("TransferFailure(%1, %2): %3")
                           .arg(QLatin1StringView(kind), shown(url), text),
    };
}

TransferFailure notConnected(const char* kind, const QString& reason, const QUrl& url)
{
    return failure(
        kind, QStringLiteral("Could not connect to %1: %2").arg(url.host(), reason), url);
}

QString certificateFault(QSslError::SslError error)
{
    switch (error) {
    case QSslError::CertificateExpired:
        return QStringLiteral("its certificate has expired");
    case QSslError::CertificateNotYetValid:
        return QStringLiteral("its certificate is not valid yet; check this computer's clock");
    case QSslError::HostNameMismatch:
        return QStringLiteral("its certificate is for another name");
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return QStringLiteral("nobody this computer trusts has issued its certificate");
    case QSslError::CertificateRevoked:
    case QSslError::CertificateBlacklisted:
        return QStringLiteral("its certificate has been withdrawn");
    default:
        return {};
    }
}

/// Why a handshake failed. A certificate may have several faults; the date says most.
QString handshakeFault(const QList<QSslError>& errors, const QString& systemText)
{
    QString fault;
    for (const QSslError& error : errors) {
        const QString text = certificateFault(error.error());
        const bool isAboutTime = error.error() == QSslError::CertificateExpired ||
                                 error.error() == QSslError::CertificateNotYetValid;
        if (!text.isEmpty() && (fault.isEmpty() || isAboutTime))
            fault = text;
    }
    if (!fault.isEmpty())
        return fault;
    return QStringLiteral("no secure connection: ") +
           (errors.isEmpty() ? systemText : errors.constFirst().errorString());
}

/// The connection ended in the middle of the answer.
TransferFailure endedEarly(const QUrl& url)
{
    return failure("endedEarly",
                   QStringLiteral("The connection to %1 was lost before its answer was complete")
                       .arg(url.host()),
                   url);
}

/// What Qt reports as `error` with its own words `systemText`; `tlsErrors` say more about a failed
/// handshake.
TransferFailure failureOf(QNetworkReply::NetworkError error,
                          const QString& systemText,
                          const QList<QSslError>& tlsErrors,
                          const QUrl& url)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return notConnected("refused", QStringLiteral("connection refused"), url);
    case QNetworkReply::HostNotFoundError:
        return notConnected("hostNotFound", QStringLiteral("no such host"), url);
    case QNetworkReply::TimeoutError:
        return notConnected("connectTimedOut", QStringLiteral("timed out"), url);
    case QNetworkReply::SslHandshakeFailedError:
        return notConnected("tls", handshakeFault(tlsErrors, systemText), url);
    case QNetworkReply::RemoteHostClosedError:
        return endedEarly(url);
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::UnknownProxyError:
        return notConnected("proxy", QStringLiteral("the proxy failed: ") + systemText, url);
    default:
        return notConnected("network", systemText, url);
    }
}

/// Nothing came or went for `limit`.
TransferFailure timedOut(const QUrl& url, std::chrono::milliseconds limit)
{
    const double seconds = std::chrono::duration<double>(limit).count();
    return failure("timedOut",
                   QStringLiteral("The request to %1 timed out: no data for %2 seconds")
                       .arg(url.host(), QString::number(seconds)),
                   url);
}

/// `from` redirects to `target`, which is not one to send a password to.
TransferFailure insecureRedirect(const QUrl& from, const QUrl& target)
{
    return failure("insecureRedirect",
                   QStringLiteral("%1 redirects to %2, which is not encrypted")
                       .arg(from.host(), shown(target)),
                   from);
}

/// One request on its way, over its redirects, to one outcome.
/// Main thread.
class HttpTransfer final : public QObject
{
public:
    /// `network` and `proxies`, which is in use there, must outlive the transfer.
    HttpTransfer(QNetworkAccessManager& network,
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
        connect(&m_idle, &QTimer::timeout, this, [this] {
            giveUp(timedOut(m_url, m_request.idleLimit));
        });
    }

    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    /// Gives up what still runs; the outcome is then a failure.
    ~HttpTransfer() override
    {
        if (!m_promise.future().isFinished())
            giveUp(failure("cancelled",
                           QStringLiteral("The request to %1 was cancelled").arg(m_url.host()),
                           m_url));
    }

    [[nodiscard]] QFuture<HttpOutcome> outcome() const { return m_promise.future(); }

    /// Sends the request. Once.
    void start()
    {
        if (maySendTo(m_firstUrl))
            sendTo(m_firstUrl);
        else
            finish(notConnected("notEncrypted",
                                QStringLiteral("its address does not begin with https"),
                                m_firstUrl));
    }

private:
    void sendTo(const QUrl& url)
    {
        m_url = url;
        m_body.clear();
        m_idle.start();
        m_proxies.ask(url).then(this, [this] {
            if (!m_promise.future().isFinished())
                send();
        });
    }

    void send()
    {
        const QNetworkRequest request = networkRequest(m_url);
        m_reply.reset(open(request));
        const auto restartIdle = [this] {
            m_idle.start();
        };
        connect(m_reply.get(), &QNetworkReply::uploadProgress, &m_idle, restartIdle);
        connect(m_reply.get(), &QNetworkReply::metaDataChanged, &m_idle, restartIdle);
        connect(m_reply.get(), &QNetworkReply::readyRead, this, &HttpTransfer::takeBody);
        connect(m_reply.get(),
                &QNetworkReply::sslErrors,
                this,
                [this](const QList<QSslError>& errors) { m_tlsErrors = errors; });
        connect(m_reply.get(), &QNetworkReply::finished, this, &HttpTransfer::onFinished);
    }

    [[nodiscard]] QNetworkReply* open(const QNetworkRequest& request)
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

    [[nodiscard]] QNetworkRequest networkRequest(const QUrl& url) const
    {
        QNetworkRequest request(url);
        request.setSslConfiguration(m_tls);
        // Qt's own following would take the token to other hosts and turn an upload into a GET.
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                             QNetworkRequest::ManualRedirectPolicy);
        request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute,
                             QNetworkRequest::Manual);
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

    void takeBody()
    {
        m_idle.start();
        m_body += m_reply->readAll();
        if (m_body.size() <= m_request.answerLimit)
            return;
        const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (m_request.longAnswer == LongAnswer::Fails)
            giveUp(failure("tooLong",
                           QStringLiteral("The answer of %1 is longer than %2 bytes")
                               .arg(m_url.host())
                               .arg(m_request.answerLimit),
                           m_url));
        else
            giveUp(HttpResponse{.status = status, .body = m_body.first(m_request.answerLimit)});
    }

    void giveUp(const HttpOutcome& outcome)
    {
        if (m_reply != nullptr)
            m_reply->disconnect(this);
        m_reply.reset(); // which ends it; abort() would complain where an error status has come
        finish(outcome);
    }

    void onFinished()
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

    /// Sends the request on if the answer says so; false when it is the answer itself.
    [[nodiscard]] bool follow(int status)
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
            finish(failure("tooManyRedirects",
                           QStringLiteral("%1 redirects too many times").arg(m_firstUrl.host()),
                           m_firstUrl));
        } else {
            ++m_redirects;
            qCDebug(lcNetwork, "Redirect %d is followed", m_redirects);
            // For good: on the way back the token would pass for one that the other host has
            // chosen.
            m_leftOrigin = m_leftOrigin || !isSameOrigin(m_firstUrl, target);
            sendTo(target);
        }
        return true;
    }

    [[nodiscard]] HttpOutcome received(std::optional<int> status) const
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
    [[nodiscard]] bool isIncomplete() const
    {
        if (m_reply->hasRawHeader("Content-Encoding"))
            return false; // the announced length is that before decompression
        bool isNumber = false;
        const qint64 announced = m_reply->rawHeader("Content-Length").toLongLong(&isNumber);
        return isNumber && m_body.size() < announced;
    }

    void finish(const HttpOutcome& outcome)
    {
        m_idle.stop();
        m_promise.addResult(outcome);
        m_promise.finish();
        deleteLater();
    }

    /// Qt shares what it was given for as long as it keeps the reply, and has sent it by now.
    void forgetSecrets()
    {
        if (m_request.hasSecretBody)
            overwriteForAll(m_request.body);
        for (const HttpHeader& header : std::as_const(m_request.headers)) {
            if (isAuthorization(header))
                overwriteForAll(header.value);
        }
    }

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

} // namespace

NetworkHttpClient::NetworkHttpClient(const QSslConfiguration& tls)
    : m_tls(tls)
{
    m_tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
}

NetworkHttpClient::~NetworkHttpClient() = default;

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
