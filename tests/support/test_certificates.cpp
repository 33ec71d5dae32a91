// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_certificates.h"

#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QSslKey>

namespace support {

namespace {

QStringList newKey(const QString& file)
{
    return {QStringLiteral("-newkey"),
            QStringLiteral("ec"),
            QStringLiteral("-pkeyopt"),
            QStringLiteral("ec_paramgen_curve:prime256v1"),
            QStringLiteral("-nodes"),
            QStringLiteral("-keyout"),
            file};
}

} // namespace

platform::Outcome TestCertificates::create()
{
    return openssl(QStringList{QStringLiteral("req"), QStringLiteral("-x509")} +
                   newKey(path(QStringLiteral("ca.key"))) +
                   QStringList{QStringLiteral("-out"),
                               path(QStringLiteral("ca.pem")),
                               QStringLiteral("-days"),
                               QStringLiteral("2"),
                               QStringLiteral("-subj"),
                               QStringLiteral("/CN=Authority of a test")});
}

platform::Result<QSslConfiguration> TestCertificates::server(const QString& name, int days)
{
    const QString base = path(QStringLiteral("server%1").arg(++m_made));
    const bool isAddress = !QHostAddress(name).isNull();
    QFile extensions(base + QStringLiteral(".ext"));
    if (!extensions.open(QIODevice::WriteOnly))
        return platform::Error{extensions.errorString()};
    extensions.write(QStringLiteral("subjectAltName=%1:%2\n")
                         .arg(isAddress ? QStringLiteral("IP") : QStringLiteral("DNS"), name)
                         .toUtf8());
    extensions.close();
    const platform::Outcome requested =
        openssl(QStringList{QStringLiteral("req")} + newKey(base + QStringLiteral(".key")) +
                QStringList{QStringLiteral("-out"),
                            base + QStringLiteral(".csr"),
                            QStringLiteral("-subj"),
                            QStringLiteral("/CN=Server of a test")});
    if (!requested)
        return requested.error();
    const platform::Outcome signedByCa = openssl({QStringLiteral("x509"),
                                                  QStringLiteral("-req"),
                                                  QStringLiteral("-in"),
                                                  base + QStringLiteral(".csr"),
                                                  QStringLiteral("-CA"),
                                                  path(QStringLiteral("ca.pem")),
                                                  QStringLiteral("-CAkey"),
                                                  path(QStringLiteral("ca.key")),
                                                  QStringLiteral("-CAcreateserial"),
                                                  QStringLiteral("-days"),
                                                  QString::number(days),
                                                  QStringLiteral("-extfile"),
                                                  extensions.fileName(),
                                                  QStringLiteral("-out"),
                                                  base + QStringLiteral(".pem")});
    if (!signedByCa)
        return signedByCa.error();
    QFile key(base + QStringLiteral(".key"));
    if (!key.open(QIODevice::ReadOnly))
        return platform::Error{key.errorString()};
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(
        QSslCertificate::fromPath(base + QStringLiteral(".pem")));
    configuration.setPrivateKey(QSslKey(&key, QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

QSslConfiguration TestCertificates::trustingClient() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslCertificate::fromPath(path(QStringLiteral("ca.pem"))));
    return configuration;
}

platform::Outcome TestCertificates::openssl(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForFinished() || process.exitCode() != 0)
        return platform::Error{QString::fromLocal8Bit(process.readAllStandardError())};
    return platform::success();
}

} // namespace support
