// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/transfer_failures.h"

namespace platform::qt {

namespace {

/// `url` as far as it may be shown: service addresses have neither user nor query.
QString shown(const QUrl& url)
{
    return url.toString(QUrl::RemoveUserInfo | QUrl::RemoveQuery | QUrl::RemoveFragment);
}

TransferFailure failure(const char* kind, const QString& text, const QUrl& url)
{
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

} // namespace

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

TransferFailure timedOut(const QUrl& url, std::chrono::milliseconds limit)
{
    const double seconds = std::chrono::duration<double>(limit).count();
    return failure("timedOut",
                   QStringLiteral("The request to %1 timed out: no data for %2 seconds")
                       .arg(url.host(), QString::number(seconds)),
                   url);
}

TransferFailure endedEarly(const QUrl& url)
{
    return failure("endedEarly",
                   QStringLiteral("The connection to %1 was lost before its answer was complete")
                       .arg(url.host()),
                   url);
}

TransferFailure tooLong(const QUrl& url, qint64 limit)
{
    return failure(
        "tooLong",
        QStringLiteral("The answer of %1 is longer than %2 bytes").arg(url.host()).arg(limit),
        url);
}

TransferFailure notEncrypted(const QUrl& url)
{
    return notConnected(
        "notEncrypted", QStringLiteral("its address does not begin with https"), url);
}

TransferFailure insecureRedirect(const QUrl& from, const QUrl& target)
{
    return failure("insecureRedirect",
                   QStringLiteral("%1 redirects to %2, which is not encrypted")
                       .arg(from.host(), shown(target)),
                   from);
}

TransferFailure tooManyRedirects(const QUrl& url)
{
    return failure(
        "tooManyRedirects", QStringLiteral("%1 redirects too many times").arg(url.host()), url);
}

TransferFailure cancelled(const QUrl& url)
{
    return failure(
        "cancelled", QStringLiteral("The request to %1 was cancelled").arg(url.host()), url);
}

} // namespace platform::qt
