// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// An upload from the list to the wire, against files that other programs have written:
// golden/upload_body.json is, byte for byte, what must be sent for the list in
// tests/activity/golden/foreign.json.
#include "tests/support/sync_bench.h"
#include "tests/support/test_program.h"

#include <QFile>
#include <QTest>

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestBodyFormat final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aListOfAnotherWriterIsSentInOurForm()
    {
        const auto list = samples::read(contentOf(QStringLiteral(LIST_OF_ANOTHER_WRITER)));
        QVERIFY(list && list->size() == 6);
        support::SyncBench bench;
        for (const activity::ActivityLog& log : *list)
            bench.store.addLog(log);
        bench.fake.clock.time = 785000300;
        bench.fake.userDefaults.setString(QStringLiteral("device_uuid"),
                                          QStringLiteral("5F0C1E9B-1111-4222-8333-444455556666"));
        bench.fake.userDefaults.setInteger(QStringLiteral("syncInterval"), 15);
        bench.fake.httpClient.answer(platform::HttpResponse{.status = 201, .body = {}});
        bench.sync();
        QCOMPARE(bench.fake.httpClient.requests.size(), 1);
        const QByteArray expected = contentOf(QStringLiteral(GOLDEN_BODY)).trimmed();
        QVERIFY(!expected.isEmpty());
        const platform::HttpRequest& request = bench.fake.httpClient.requests.first();
        QCOMPARE(request.body, expected);
        QCOMPARE(request.streamedBody->size, expected.size());
        QCOMPARE(bench.stored(), 0UL);
    }
};

QUILLSTEP_TEST(TestBodyFormat)
#include "tst_body_format.moc"
