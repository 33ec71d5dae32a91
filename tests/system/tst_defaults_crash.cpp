// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What is in the settings file when the process is killed.
#include "backends/qt/settings_file_defaults.h"
#include "tests/support/child_process.h"
#include "tests/support/passing_time.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <cstring>

namespace {

/// The last number that was written to `output`; 0 when there is none.
qint64 lastNumberIn(const QByteArray& output)
{
    constexpr auto kSize = qsizetype(sizeof(qint64));
    qint64 number = 0;
    if (const qsizetype whole = output.size() / kSize; whole > 0)
        std::memcpy(&number, output.constData() + (whole - 1) * kSize, sizeof number);
    return number;
}

} // namespace

class TestDefaultsCrash final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void killedAtAnyMomentTheFileIsOldOrNewAndNeverHalf()
    {
        constexpr int kRounds = 60;
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("settings/defaults.ini"));
        QRandomGenerator random(QRandomGenerator::securelySeeded());
        qint64 before = 0;
        for (int round = 0; round < kRounds; ++round) {
            support::ChildProcess churn;
            QVERIFY(churn.start(QStringLiteral(DEFAULTS_CHURN_EXECUTABLE),
                                {path},
                                QProcessEnvironment::systemEnvironment()));
            QByteArray output;
            const auto read = [&] {
                output += churn.process().readAllStandardOutput();
                return lastNumberIn(output) > 0;
            };
            QVERIFY(QTest::qWaitFor(read, 20000));
            const int moment = random.bounded(0, 60);
            support::letPass(std::chrono::milliseconds(moment));
            churn.kill();
            read();

            // QSettings keeps what it has read of a file, so each round reads a copy.
            const QString copy = folder.filePath(QString::number(round));
            if (!QFile::copy(path, copy)) {
                QCOMPARE(before, 0); // killed before anything was ever written
                continue;
            }
            const platform::qt::SettingsFileDefaults left(copy);
            const qint64 number = left.integer(QStringLiteral("number")).value_or(0);
            QVERIFY2(number >= before, qPrintable(QString::number(number)));
            QVERIFY(number <= lastNumberIn(output));
            const QString text = left.string(QStringLiteral("text")).value_or(QString());
            QCOMPARE(text, text.isEmpty() ? QString() : text.left(2).repeated(2000));
            if (number > 0)
                QVERIFY(!text.isEmpty());
            before = number;
        }
        QVERIFY(before > 0);
        const QStringList aside =
            QDir(QFileInfo(path).path()).entryList({QStringLiteral("*.damaged-*")}, QDir::Files);
        QVERIFY2(aside.isEmpty(), qPrintable(aside.join(u' ')));
    }
};

QUILLSTEP_TEST(TestDefaultsCrash)
#include "tst_defaults_crash.moc"
