// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/network_http_client.h"
#include "tests/support/test_program.h"

#include <QTest>

using namespace platform::qt;

namespace {

QUrl url(const char* text)
{
    return QUrl(QString::fromLatin1(text), QUrl::StrictMode);
}

} // namespace

class TestServiceAddress final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aPasswordMayBeSentWhereItIsSafe_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<bool>("may");
        const auto row = [](const char* address, bool may) {
            QTest::newRow(address) << QByteArray(address) << may;
        };
        row("https://service.example", true);
        row("HTTPS://service.example:8443/x", true);
        row("https://", false);
        row("https:///x", false);
        row("http://localhost", true);
        row("http://LOCALHOST:1/x", true);
        row("http://127.0.0.1:8787/api/token", true);
        row("http://127.1.2.3", true);
        row("http://[::1]:8787", true);
        row("http://service.example", false);
        row("http://localhost.example", false);
        row("http://127.0.0.1.example", false);
        row("http://[::2]", false);
        row("http://0.0.0.0", false);
        row("http://user@127.0.0.1", true);
        row("http://127.0.0.1@service.example", false);
        row("ws://localhost", false);
        row("file:///etc/passwd", false);
        row("localhost:80", false);
        row("", false);
    }

    void aPasswordMayBeSentWhereItIsSafe()
    {
        QFETCH(const QByteArray, address);
        QFETCH(const bool, may);
        QCOMPARE(maySendTo(url(address.constData())), may);
    }

    void anOriginIsSchemeHostAndPort()
    {
        QVERIFY(isSameOrigin(url("https://h/a"), url("https://H:443/b?c")));
        QVERIFY(isSameOrigin(url("http://h:80"), url("http://h")));
        QVERIFY(!isSameOrigin(url("https://h"), url("http://h")));
        QVERIFY(!isSameOrigin(url("https://h"), url("https://h:80")));
        QVERIFY(!isSameOrigin(url("https://h"), url("https://h.example")));
        QVERIFY(!isSameOrigin(url("http://localhost"), url("http://127.0.0.1")));
    }

    void aRedirectIsSeenFromWhereItStands_data()
    {
        QTest::addColumn<QByteArray>("location");
        QTest::addColumn<QString>("target");
        const auto row = [](const char* location, const char* target) {
            QTest::newRow(location) << QByteArray(location) << QString::fromLatin1(target);
        };
        row("https://other.example/x", "https://other.example/x");
        row("//other.example/x", "https://other.example/x");
        row("/x", "https://h:1/x");
        row("x", "https://h:1/a/x");
        row("../x?y#z", "https://h:1/x?y#z");
        row("", "");
        row("http://[x", "");
    }

    void aRedirectIsSeenFromWhereItStands()
    {
        QFETCH(const QByteArray, location);
        QFETCH(const QString, target);
        QCOMPARE(redirectTarget(url("https://h:1/a/b"), location).toString(), target);
    }
};

QUILLSTEP_TEST(TestServiceAddress)
#include "tst_service_address.moc"
