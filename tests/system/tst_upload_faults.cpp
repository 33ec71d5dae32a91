// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The uploader against the real service behind a connection that breaks in every way.
#include "backends/qt/network_http_client.h"
#include "tests/support/faulty_proxy.h"
#include "tests/support/service_process.h"
#include "tests/support/sync_bench.h"
#include "tests/support/test_program.h"

#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <random>

using support::FaultyProxy;
using support::SyncBench;
using Fault = support::FaultyProxy::Fault;
using namespace std::chrono_literals;

namespace {

constexpr int kSequences = 500;
constexpr unsigned kSeed = 20261121;
const QString kEmail = QStringLiteral("ada@example.org");
const QString kPassword = QStringLiteral("correct horse");

/// A client with less patience than a minute.
class ImpatientClient final : public platform::HttpClient
{
public:
    [[nodiscard]] QFuture<platform::HttpOutcome> send(const platform::HttpRequest& request) override
    {
        platform::HttpRequest hurried = request;
        hurried.idleLimit = patience;
        return m_client.send(hurried);
    }

    std::chrono::milliseconds patience = 30s;

private:
    platform::qt::NetworkHttpClient m_client;
};

} // namespace

class TestUploadFaults final : public QObject
{
    Q_OBJECT

    // Little enough to go beyond it.
    const QStringList m_limited{QStringLiteral("--largest-upload"), QStringLiteral("64")};
    support::ServiceProcess m_service;
    ImpatientClient m_client;
    std::mt19937 m_random{kSeed};
    qint64 m_added = 0;

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    /// A second of one of a few windows, mostly the same as before.
    void addSample(SyncBench& bench)
    {
        static const char* const titles[] = {"make", "git log", "a page", ""};
        static int title = 0;
        if (below(4) == 0)
            title = below(4);
        bench.addSamples(1, titles[title]);
        ++m_added;
    }

    /// The sum of all seconds that the service has stored.
    qint64 storedSeconds()
    {
        const QString summary = m_service.summary();
        const auto match = QRegularExpression(QStringLiteral(" (\\d+) seconds")).match(summary);
        return match.hasMatch() ? match.captured(1).toLongLong() : -1;
    }

    static bool signIn(SyncBench& bench)
    {
        return QCoro::waitFor(bench.auth.login(kEmail, kPassword));
    }

private Q_SLOTS:

    void initTestCase()
    {
        qInfo("seed %u", kSeed);
        const platform::Outcome started =
            m_service.start(m_service.folder() + QStringLiteral("/service.sqlite"), m_limited);
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        QVERIFY(bool(m_service.addUser(kEmail, QStringLiteral("Ada"), kPassword)));
    }

    void afterAnyFaultsTheTotalIsExact()
    {
        FaultyProxy proxy(static_cast<quint16>(m_service.port()));
        SyncBench bench(proxy.url(), &m_client);
        QVERIFY(signIn(bench));
        QTimer tracker;
        connect(&tracker, &QTimer::timeout, &bench.service, [this, &bench] { addSample(bench); });
        tracker.start(1ms);
        int faults = 0;
        for (int sequence = 0; sequence < kSequences; ++sequence) {
            addSample(bench);
            int left = 1 + below(3);
            proxy.setFaults([this, &left, &faults] {
                if (left-- <= 0)
                    return Fault::None;
                ++faults;
                return static_cast<Fault>(1 + below(6));
            });
            m_client.patience = 100ms;
            do
                bench.sync();
            while (left > 0 && bench.service.lastSyncError());
            // The last of a sequence arrives, so that the backlog stays small.
            proxy.setFaults([] { return Fault::None; });
            m_client.patience = 30s;
            bench.sync();
            QVERIFY2(!bench.service.lastSyncError(),
                     qPrintable(bench.service.lastSyncError().value_or(QString())));
            if (sequence % 50 == 49) {
                QCOMPARE(storedSeconds() + static_cast<qint64>(bench.stored()), m_added);
            }
        }
        tracker.stop();
        bench.sync();
        QCOMPARE(bench.stored(), 0);
        QCOMPARE(storedSeconds(), m_added);
        QVERIFY(faults >= kSequences);
    }

    void aServiceThatIsKilledInTheMiddleGetsItAllAgain()
    {
        const quint16 port = static_cast<quint16>(m_service.port());
        FaultyProxy proxy(port);
        SyncBench bench(proxy.url(), &m_client);
        const qint64 before = storedSeconds();
        QVERIFY(signIn(bench));
        m_added = 0;
        bench.next = 1e6; // other seconds than those of the test before
        for (int round = 0; round < 10; ++round) {
            for (int sample = 0; sample < 200; ++sample)
                addSample(bench);
            proxy.setFaults([this] {
                // While it reads, stores or answers.
                QTimer::singleShot(below(10), this, [this] { m_service.kill(); });
                return Fault::None;
            });
            bench.sync();
            QTRY_VERIFY(!m_service.process().isRunning());
            const platform::Outcome again = m_service.start(
                m_service.database(),
                m_limited + QStringList{QStringLiteral("--port"), QString::number(port)});
            QVERIFY2(bool(again), again ? "" : qPrintable(again.error().text));
        }
        proxy.setFaults([] { return Fault::None; });
        bench.sync();
        QVERIFY(!bench.service.lastSyncError());
        QCOMPARE(bench.stored(), 0);
        QCOMPARE(storedSeconds() - before, m_added);
    }

    // What the documents promise to whoever has been without a connection for very long.
    void aBacklogBeyondWhatTheServiceTakesStaysWholeAndItsStatusIsShown()
    {
        SyncBench bench(m_service.baseUrl(), &m_client);
        QVERIFY(signIn(bench));
        const qint64 before = storedSeconds();
        bench.next = 2e6;
        const QByteArray title(16'000, 'x');
        constexpr int kTooMany = 4300; // 68.8 MB
        for (int i = 0; i < kTooMany; ++i)
            bench.addSamples(1, QByteArray::number(i) + title);
        for (int attempt = 0; attempt < 2; ++attempt) {
            bench.sync();
            QCOMPARE(bench.service.lastSyncError().value_or(QString()),
                     QStringLiteral("Server returned status 413"));
            QCOMPARE(bench.stored(), std::size_t{kTooMany});
            QCOMPARE(storedSeconds(), before);
        }
    }
};

QUILLSTEP_TEST(TestUploadFaults)
#include "tst_upload_faults.moc"
