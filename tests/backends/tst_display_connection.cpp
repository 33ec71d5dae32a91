// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/display_connection.h"
#include "tests/support/test_program.h"

#include <QSignalSpy>
#include <QTest>

#include <array>
#include <sys/socket.h>

using namespace Qt::StringLiterals;
using platform::desktop::DisplayConnection;
using platform::desktop::waitForData;
using platform::posix::FileDescriptor;

namespace {

/// Both ends of a connection that nobody reads from.
struct Line
{
    Line()
    {
        std::array<int, 2> ends{-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
        ours = FileDescriptor(ends[0]);
        server = FileDescriptor(ends[1]);
    }

    void tell() const { QCOMPARE(::write(server.get(), "news", 4), ssize_t{4}); }

    void hangUp() { server = FileDescriptor(); }

    FileDescriptor ours;
    FileDescriptor server;
};

class Connection final : public DisplayConnection
{
public:
    explicit Connection(const Line& line)
        : DisplayConnection(line.ours.get(), u"the server"_s)
    {
    }

    using DisplayConnection::noteLoss;
};

} // namespace

class TestDisplayConnection final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theEndIsToldOnceThoughNobodyReads()
    {
        Line line;
        const Connection connection(line);
        const QSignalSpy lost(&connection, &DisplayConnection::lost);
        line.tell();
        QCoreApplication::processEvents();
        QVERIFY(!connection.isLost());
        line.hangUp();
        QTRY_COMPARE(lost.count(), 1);
        QCOMPARE(lost.at(0).at(0).toString(), u"the connection to the server was closed"_s);
        QVERIFY(connection.isLost());
        QCoreApplication::processEvents();
        QCOMPARE(lost.count(), 1);
    }

    void whoFindsOutFirstIsBelievedAndItIsToldFromTheLoop()
    {
        Line line;
        Connection connection(line);
        const QSignalSpy lost(&connection, &DisplayConnection::lost);
        connection.noteLoss();
        QVERIFY(connection.isLost());
        QCOMPARE(lost.count(), 0);
        line.hangUp();
        connection.noteLoss();
        QTRY_COMPARE(lost.count(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(lost.count(), 1);
    }

    void waitingEndsWithDataAndWithTheConnection()
    {
        Line line;
        QVERIFY(!waitForData(line.ours.get(), QDeadlineTimer(0)));
        line.tell();
        QVERIFY(waitForData(line.ours.get(), QDeadlineTimer(20000)));
        Line other;
        other.hangUp();
        QVERIFY(waitForData(other.ours.get(), QDeadlineTimer(20000)));
    }
};

QUILLSTEP_TEST(TestDisplayConnection)
#include "tst_display_connection.moc"
