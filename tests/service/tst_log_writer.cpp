// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/log_writer.h"
#include "tests/support/test_program.h"

#include <QByteArray>
#include <QTest>

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using service::LogWriter;

namespace {

std::string note(std::size_t dropped)
{
    return std::to_string(dropped) + " were dropped\n";
}

/// Its ends are closed by the test or with it.
struct Pipe
{
    Pipe() { static_cast<void>(::pipe2(ends.data(), O_CLOEXEC)); }

    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    ~Pipe()
    {
        closeReader();
        ::close(ends[1]);
    }

    void closeReader() { ::close(std::exchange(ends[0], -1)); }

    /// What has come, at least a byte; blocks until then.
    [[nodiscard]] QByteArray read() const
    {
        QByteArray bytes(65536, '\0');
        bytes.truncate(
            std::max<qsizetype>(::read(ends[0], bytes.data(), std::size_t(bytes.size())), 0));
        return bytes;
    }

    std::array<int, 2> ends = {-1, -1};
};

} // namespace

class TestLogWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase() { ::signal(SIGPIPE, SIG_IGN); }

    void linesAreWrittenInTheirOrder()
    {
        const Pipe pipe;
        LogWriter writer(pipe.ends[1], note);
        for (const char* line : {"first\n", "second\n", "third\n"})
            writer.write(line);
        QVERIFY(writer.flush(30s));
        QCOMPARE(pipe.read(), QByteArray("first\nsecond\nthird\n"));
    }

    void whatWaitsAtTheEndIsWritten()
    {
        const Pipe pipe;
        {
            LogWriter writer(pipe.ends[1], note);
            writer.write("last\n");
        }
        QCOMPARE(pipe.read(), QByteArray("last\n"));
    }

    void nobodyWaitsForAReaderThatHasStoppedAndItIsToldWhatItMissed()
    {
        const Pipe pipe;
        LogWriter writer(pipe.ends[1], note);
        constexpr int kThreads = 4;
        constexpr int kLines = 40'000;
        {
            std::vector<std::jthread> threads;
            for (int i = 0; i < kThreads; ++i)
                threads.emplace_back([&writer] {
                    for (int n = 0; n < kLines / kThreads; ++n)
                        writer.write("a line as long as those of the log are, more or less\n");
                });
        }
        QVERIFY(!writer.flush(0ms));
        int lines = 0;
        int dropped = 0;
        QByteArray text;
        while (lines + dropped < kLines) {
            text += pipe.read();
            for (qsizetype end = 0; (end = text.indexOf('\n')) >= 0; text.remove(0, end + 1)) {
                const QByteArray line = text.left(end);
                if (line.startsWith("a line"))
                    ++lines;
                else if (line.endsWith(" were dropped"))
                    dropped += line.split(' ').at(0).toInt();
                else
                    QFAIL(line.constData());
            }
        }
        QCOMPARE(lines + dropped, kLines);
        QVERIFY(lines > 0 && dropped > 0);
        QVERIFY(writer.flush(30s));
    }

    void aReaderThatHasGoneIsNoReasonToStop()
    {
        Pipe pipe;
        LogWriter writer(pipe.ends[1], note);
        pipe.closeReader();
        for (int i = 0; i < 3; ++i) {
            writer.write("a line\n");
            QVERIFY(writer.flush(30s));
        }
    }
};

QUILLSTEP_TEST(TestLogWriter)
#include "tst_log_writer.moc"
