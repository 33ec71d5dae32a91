// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The native host on a real bus, with input that no extension sends and callers that are no host.
#include "backends/dbus/application_service.h"
#include "backends/page_addresses/browser_reports.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/host_folder.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QFile>
#include <QTest>

#include <cstdint>
#include <memory>
#include <optional>
#include <sys/prctl.h>
#include <vector>

using platform::browsers::BrowserReports;
using platform::browsers::Family;
using platform::browsers::FrontBrowser;

namespace {

constexpr int kPatienceMs = 20000;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray framed(const QByteArray& message)
{
    const auto length = static_cast<std::uint32_t>(message.size());
    return QByteArray(reinterpret_cast<const char*>(&length), sizeof length) + message;
}

QByteArray pageMessage(const QByteArray& address, const QByteArray& title)
{
    return "{\"focused\":true,\"address\":\"" + address + "\",\"title\":\"" + title + "\"}";
}

/// A host that this process has started, as a browser does.
class Host final
{
public:
    [[nodiscard]] bool start(const QProcessEnvironment& environment,
                             const QString& log,
                             const QString& executable,
                             const QStringList& arguments = {
                                 text("chrome-extension://mhplccilcafjopbfaahhkohdjhajiigf/")})
    {
        return static_cast<bool>(m_process.start(executable, arguments, environment, log));
    }

    void write(const QByteArray& bytes) { m_process.process().write(bytes); }

    void tell(const QByteArray& address, const QByteArray& title)
    {
        write(framed(pageMessage(address, title)));
    }

    void closeInput() { m_process.process().closeWriteChannel(); }

    [[nodiscard]] bool waitForEnd()
    {
        return QTest::qWaitFor([this] { return !m_process.isRunning(); }, kPatienceMs);
    }

    [[nodiscard]] bool isDrained()
    {
        return QTest::qWaitFor([this] { return m_process.process().bytesToWrite() == 0; },
                               kPatienceMs);
    }

    [[nodiscard]] support::ChildProcess& process() { return m_process; }

    /// A figure in KiB of its /proc/PID/smaps_rollup.
    [[nodiscard]] int memoryKb(const QByteArray& figure) const
    {
        QFile file(text("/proc/%1/smaps_rollup").arg(m_process.pid()));
        if (!file.open(QIODevice::ReadOnly))
            return -1;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (line.startsWith(figure + ':'))
                return line.mid(figure.size() + 1).replace("kB", "").trimmed().toInt();
        }
        return -1;
    }

private:
    support::ChildProcess m_process;
};

} // namespace

class TestBrowserHost final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { QVERIFY(support::lookAsAnOrdinaryUser()); }

    void init()
    {
        REQUIRE_PROGRAMS(QStringList{text("dbus-daemon")});
        m_home = std::make_unique<support::PrivateHome>();
        QVERIFY(m_home->create());
        m_bus = std::make_unique<support::BusDaemon>();
        QVERIFY(m_bus->start(m_home->filePath(text("runtime/bus")), m_home->environment()));
        m_connection.emplace(QDBusConnection::connectToBus(m_bus->address(), text("monitor")));
        m_host = support::installHost(m_home->filePath(text("bin")),
                                      text(BROWSER_HOST_EXECUTABLE),
                                      QCoreApplication::applicationFilePath());
        QVERIFY(!m_host.isEmpty());
        QVERIFY(ownName());
        listen();
    }

    void cleanup()
    {
        ::prctl(PR_SET_DUMPABLE, 1);
        m_silent.stop();
        m_reports.reset();
        m_connection.reset();
        QDBusConnection::disconnectFromBus(text("monitor"));
        m_bus.reset();
        m_home.reset();
    }

    void whatAHostTellsIsKnownInTheWindowsOfItsParentAlone()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/x?y#z", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/x?y#z"));
        QCOMPARE(address("B - Chromium"), QString());
        QCOMPARE(address("A - Chromium", 1), QString());
        QCOMPARE(address("A - Chromium", static_cast<int>(host.process().pid())), QString());
        QCOMPARE(address("A \xE2\x80\x94 Mozilla Firefox", self(), Family::Other), QString());
        host.write(framed("{\"focused\":false}"));
        QTRY_COMPARE(address("A - Chromium"), QString());
    }

    void whereTheDesktopTellsNoProcessOneBrowserMustBeMeant()
    {
        Host host;
        Host other;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium", 0), text("https://a.example/"));
        QVERIFY(start(other));
        other.tell("https://b.example/", "A");
        QTRY_COMPARE(address("A - Chromium", 0), QString());
        other.write(framed("{\"focused\":false}"));
        QTRY_COMPARE(address("A - Chromium", 0), text("https://a.example/"));
    }

    void aReportFromBeforeTheWindowCameToTheFrontDoesNotCount()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(addressInWindow(1), text("https://a.example/"));
        QCOMPARE(addressInWindow(2), QString()); // a private one, of which nothing is told yet
        QCOMPARE(addressInWindow(2), QString());
        host.tell("https://b.example/", "A");
        QTRY_COMPARE(addressInWindow(2), text("https://b.example/"));
    }

    void aHostEndsWithItsInput()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        host.closeInput();
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 0);
        QTRY_COMPARE(address("A - Chromium"), QString());
        QCOMPARE(m_reports->connectedBrowsers(), QStringList());
        QCOMPARE(errorsOfHost(), QByteArray());
    }

    void faultyInputEndsTheHost_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("complaint");
        const QByteArray noReport = "a message is not a report";
        const QByteArray tooLong = "a message is longer than 64 KiB";
        const QByteArray cut = "the last message lacks its end";
        const auto row =
            [](const char* name, const QByteArray& input, const QByteArray& complaint) {
                QTest::newRow(name) << input << complaint;
            };
        row("too long", framed(QByteArray(64 * 1024 + 1, ' ')), tooLong);
        row("far too long", QByteArray("\xFF\xFF\xFF\xFF", 4), tooLong);
        row("longest that is none", framed(QByteArray(64 * 1024, ' ')), noReport);
        row("cut in the length", QByteArray("\x05\x00", 2), cut);
        row("cut in the message", framed(pageMessage("https://a.example/", "A")).chopped(1), cut);
        row("empty", framed(""), noReport);
        row("no JSON", framed("focused"), noReport);
        row("something behind", framed("{\"focused\":false}{}"), noReport);
        row("invalid UTF-8", framed(pageMessage("https://a.example/\xFF", "A")), noReport);
        row("overlong UTF-8", framed(pageMessage("https://a.example/\xC0\xAF", "A")), noReport);
        row("lone surrogate", framed(pageMessage("https://a.example/", "\\ud800")), noReport);
        row("NUL", framed(pageMessage("https://a.example/\\u0000", "A")), noReport);
        row("raw NUL", framed(pageMessage(QByteArray("a\0b", 3), "A")), noReport);
        row("an array", framed("[{\"focused\":false}]"), noReport);
        row("a text", framed("\"focused\""), noReport);
        row("nothing", framed("null"), noReport);
        row("no members", framed("{}"), noReport);
        row("a number for a truth", framed("{\"focused\":0}"), noReport);
        row("a text for a truth", framed("{\"focused\":\"false\"}"), noReport);
        row("no address", framed("{\"focused\":true,\"title\":\"A\"}"), noReport);
        row("a number for an address",
            framed("{\"focused\":true,\"address\":5,\"title\":\"A\"}"),
            noReport);
        row("an object for a title",
            framed("{\"focused\":true,\"address\":\"\",\"title\":{}}"),
            noReport);
        row("one more member", framed("{\"focused\":false,\"incognito\":true}"), noReport);
        row("a page without focus",
            framed("{\"focused\":false,\"address\":\"https://a.example/\",\"title\":\"A\"}"),
            noReport);
        row("a member twice",
            framed("{\"focused\":true,\"focused\":true,\"address\":\"https://a.example/\"}"),
            noReport);
        row("deep", framed(QByteArray(20000, '[')), noReport);
        row("address too long", framed(pageMessage(QByteArray(8193, 'a'), "A")), noReport);
        row("title too long", framed(pageMessage("", QByteArray(8193, 'a'))), noReport);
    }

    void faultyInputEndsTheHost()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, complaint);
        Host host;
        QVERIFY(start(host));
        host.tell("https://before.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://before.example/"));
        host.write(input);
        host.closeInput(); // when all is written that the host still reads
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.process().process().exitCode(), 1);
        QCOMPARE(errorsOfHost(), "velomira-browser-host: " + complaint + '\n');
        QTRY_COMPARE(address("A - Chromium"), QString());
    }

    void messagesInPiecesAndInHeapsAreTheSame()
    {
        Host host;
        QVERIFY(start(host));
        const QByteArray one = framed(pageMessage("https://a.example/", "A"));
        for (const char byte : one) {
            host.write(QByteArray(1, byte));
            QVERIFY(host.isDrained());
        }
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        host.write(one + framed("{\"focused\":false}") +
                   framed(pageMessage("https://b.example/", "A")));
        QTRY_COMPARE(address("A - Chromium"), text("https://b.example/"));
    }

    void onlyBrowsersStartIt()
    {
        Host host;
        QVERIFY(host.start(environment(), log(), m_host, {}));
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QVERIFY(errorsOfHost().contains("started by a browser"));
    }

    void withoutABusItEnds()
    {
        QProcessEnvironment without = environment();
        without.remove(text("DBUS_SESSION_BUS_ADDRESS"));
        Host host;
        m_bus->kill();
        QVERIFY(host.start(without, log(), m_host));
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QVERIFY(errorsOfHost().contains("session bus"));
    }

    void itEndsWithTheBusAndNothingIsKnownAnyMore()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        m_bus->kill();
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QTRY_COMPARE(address("A - Chromium"), QString());
    }

    void withoutAUsageMonitorItEndsAtOnceWithoutAWord()
    {
        QVERIFY(m_connection->unregisterService(platform::dbus::applicationName()));
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.process().process().exitCode(), 0);
        QCOMPARE(errorsOfHost(), QByteArray());
        QCOMPARE(address("A - Chromium"), QString());
    }

    void itEndsWithTheUsageMonitorAndTheNextOneIsToldByTheNextHost()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        giveUpName();
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 0);
        QCOMPARE(errorsOfHost(), QByteArray());
        listen();
        QVERIFY(ownName());
        Host next;
        QVERIFY(start(next));
        next.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
    }

    void aUsageMonitorThatHasItsNameAndDoesNotListenYetIsWaitedFor()
    {
        m_reports.reset();
        Host host;
        const auto callers = [this] {
            return m_connection->interface()->registeredServiceNames().value().size();
        };
        const qsizetype before = callers();
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(callers(), before + 1);
        listen();
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
    }

    void aUsageMonitorThatAsksIsToldOnceMore()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        listen();
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
    }

    void aStrangerWithTheNameOfTheUsageMonitorIsToldNothing()
    {
        // To this host the usage monitor is the product, and not this process.
        listen(text(BROWSER_HOST_EXECUTABLE));
        Host host;
        QVERIFY(host.start(environment(), log(), text(BROWSER_HOST_EXECUTABLE)));
        host.tell("https://a.example/", "A");
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QVERIFY2(errorsOfHost().contains("is another program"), errorsOfHost().constData());
        QCOMPARE(address("A - Chromium"), QString());
        QCOMPARE(address("A - Chromium", 0), QString());
    }

    void aStrangerWhoTakesTheNameAfterTheUsageMonitorIsToldNothing()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        QDBusConnection stranger =
            QDBusConnection::connectToBus(m_bus->address(), text("stranger"));
        BrowserReports reports(stranger, m_host);
        QVERIFY(m_connection->unregisterService(platform::dbus::applicationName()));
        QVERIFY(stranger.registerService(platform::dbus::applicationName()));
        Q_EMIT reports.Wanted();
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 0);
        QCOMPARE(reports.connectedBrowsers(), QStringList());
        QDBusConnection::disconnectFromBus(text("stranger"));
    }

    void aUsageMonitorThatSaysNothingIsLeft()
    {
        QVERIFY(takeNameSilently({}));
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QVERIFY2(errorsOfHost().contains("does not say who it is"), errorsOfHost().constData());
    }

    void aProcessThatCannotBeLookedAtIsNotTheUsageMonitor()
    {
        m_host = support::installHost(m_home->filePath(text("hidden")),
                                      text(BROWSER_HOST_EXECUTABLE),
                                      text(SILENT_PEER_EXECUTABLE));
        QVERIFY(takeNameSilently({text("hidden")}));
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 1);
        QVERIFY2(errorsOfHost().contains("is another program"), errorsOfHost().constData());
    }

    void aShieldedUsageMonitorIsSeenByItsHostAndByNobodyAfterIt()
    {
        ::prctl(PR_SET_DUMPABLE, 0);
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        QCOMPARE(::prctl(PR_GET_DUMPABLE), 0);
    }

    void theShieldIsRaisedAgainAlsoWhenNothingIsTold()
    {
        ::prctl(PR_SET_DUMPABLE, 0);
        int whileAsked = -1;
        connect(m_reports.get(), &BrowserReports::connectedBrowsersChanged, this, [&whileAsked] {
            if (whileAsked < 0)
                whileAsked = ::prctl(PR_GET_DUMPABLE);
        });
        Host host;
        QVERIFY(start(host));
        QTRY_COMPARE(whileAsked, 1);
        QTRY_COMPARE(::prctl(PR_GET_DUMPABLE), 0);
        QVERIFY(host.process().isRunning());
    }

    void theShieldIsNotLoweredForOthers()
    {
        ::prctl(PR_SET_DUMPABLE, 0);
        QDBusConnection caller = QDBusConnection::connectToBus(m_bus->address(), text("caller"));
        QDBusMessage question = call();
        question = QDBusMessage::createMethodCall(
            question.service(), question.path(), question.interface(), text("Introduce"));
        QCOMPARE(errorOf(caller, question), text("org.freedesktop.DBus.Error.AccessDenied"));
        QCOMPARE(errorOf(caller, question), text("org.freedesktop.DBus.Error.LimitsExceeded"));
        QCOMPARE(::prctl(PR_GET_DUMPABLE), 0);
        QDBusConnection::disconnectFromBus(text("caller"));
    }

    void aFloodIsOverWithItsLastReport()
    {
        Host host;
        QVERIFY(start(host));
        QByteArray heap;
        for (int i = 0; i < 500; ++i)
            heap += framed(pageMessage("https://flood.example/" + QByteArray::number(i),
                                       QByteArray(4000, 'x')));
        host.write(heap);
        host.tell("https://last.example/", "A");
        QTRY_COMPARE_WITH_TIMEOUT(
            address("A - Chromium"), text("https://last.example/"), kPatienceMs);
    }

    void aFloodCostsNoMemoryWhileNobodyTakesIt()
    {
        m_host = support::installHost(m_home->filePath(text("plain")),
                                      text(PLAIN_HOST_EXECUTABLE),
                                      text(SILENT_PEER_EXECUTABLE));
        QVERIFY(takeNameSilently({text("visible")}));
        Host host;
        QVERIFY(start(host));
        host.tell("https://first.example/", "A");
        QVERIFY(host.isDrained());
        QTRY_VERIFY(host.memoryKb("Pss") > 0);
        const QByteArray title(4000, 'x');
        for (int i = 0; i < 20; ++i) {
            QByteArray heap;
            for (int j = 0; j < 500; ++j)
                heap +=
                    framed(pageMessage("https://flood.example/" + QByteArray::number(j), title));
            host.write(heap);
            QVERIFY(host.isDrained());
        }
        const int kb = host.memoryKb("Pss");
        qInfo("proportional share of the host's memory: %d KiB, private: %d KiB",
              kb,
              host.memoryKb("Private_Clean") + host.memoryKb("Private_Dirty"));
        QVERIFY2(kb > 0 && kb <= 4096, qPrintable(QString::number(kb)));
        m_silent.kill();
        QVERIFY(host.waitForEnd());
        QCOMPARE(host.process().process().exitCode(), 0);
    }

    void callersThatAreNoHostAreNotBelieved()
    {
        // This very process: it is its own browser by its number, but runs another executable.
        QDBusConnection caller = QDBusConnection::connectToBus(m_bus->address(), text("caller"));
        QCOMPARE(report(caller, "chromium", "https://evil.example/", "A"), QString());
        QTRY_COMPARE(report(caller, "chromium", "https://evil.example/", "A"),
                     text("org.freedesktop.DBus.Error.AccessDenied"));
        QCOMPARE(address("A - Chromium"), QString());
        QCOMPARE(address("A - Chromium", 0), QString());
        QCOMPARE(m_reports->connectedBrowsers(), QStringList());
        QCOMPARE(m_reports->state(), text("extension: no browser is connected"));
        QDBusConnection::disconnectFromBus(text("caller"));
    }

    void callsOfOtherFormsAreRefused()
    {
        const QString invalid = text("org.freedesktop.DBus.Error.InvalidArgs");
        QDBusConnection caller = QDBusConnection::connectToBus(m_bus->address(), text("caller"));
        QCOMPARE(report(caller, "netscape", "https://a.example/", "A"), invalid);
        QCOMPARE(report(caller, "chromium", "javascript:alert(1)", "A"), invalid);
        QCOMPARE(report(caller, "chromium", "https://" + QByteArray(9000, 'a'), "A"), invalid);
        QCOMPARE(report(caller, "chromium", "", QByteArray(9000, 'a')), invalid);
        QDBusMessage other = call();
        other.setArguments({text("chromium"), 5, 6, 7});
        QCOMPARE(m_connection->isConnected(), true);
        QVERIFY(!errorOf(caller, other).isEmpty());
        QDBusConnection::disconnectFromBus(text("caller"));
    }

    void manyCallersDoNotDriveOutAHost()
    {
        Host host;
        QVERIFY(start(host));
        host.tell("https://a.example/", "A");
        QTRY_COMPARE(address("A - Chromium"), text("https://a.example/"));
        constexpr int kCallers = 3 * int{BrowserReports::kMostHosts};
        for (int i = 0; i < kCallers; ++i) {
            const QString name = text("caller-%1").arg(i);
            QDBusConnection caller = QDBusConnection::connectToBus(m_bus->address(), name);
            static_cast<void>(report(caller, "chromium", "https://evil.example/", "A"));
        }
        QCOMPARE(address("A - Chromium"), text("https://a.example/"));
        Host late;
        QVERIFY(start(late));
        late.write(framed("{\"focused\":false}"));
        QTRY_COMPARE(m_reports->connectedBrowsers().size(), 2);
        for (int i = 0; i < kCallers; ++i)
            QDBusConnection::disconnectFromBus(text("caller-%1").arg(i));
    }

private:
    [[nodiscard]] static std::int32_t self()
    {
        return static_cast<std::int32_t>(QCoreApplication::applicationPid());
    }

    [[nodiscard]] bool ownName()
    {
        return m_connection->registerService(platform::dbus::applicationName());
    }

    void giveUpName()
    {
        m_reports.reset();
        QVERIFY(m_connection->unregisterService(platform::dbus::applicationName()));
    }

    /// In place of this process a peer has the usage monitor's name that takes no report.
    [[nodiscard]] bool takeNameSilently(const QStringList& arguments)
    {
        m_reports.reset();
        return m_connection->unregisterService(platform::dbus::applicationName()) &&
               m_silent.start(text(SILENT_PEER_EXECUTABLE),
                              QStringList{platform::dbus::applicationName()} + arguments,
                              environment()) &&
               QTest::qWaitFor([this] { return m_silent.process().canReadLine(); }, kPatienceMs);
    }

    void listen() { listen(m_host); }

    void listen(const QString& host)
    {
        m_reports.reset();
        m_reports = std::make_unique<BrowserReports>(*m_connection, host);
    }

    [[nodiscard]] QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = m_home->environment();
        environment.insert(text("DBUS_SESSION_BUS_ADDRESS"), m_bus->address());
        return environment;
    }

    [[nodiscard]] QString log() const { return m_home->filePath(text("host.log")); }

    [[nodiscard]] bool start(Host& host) { return host.start(environment(), log(), m_host); }

    [[nodiscard]] QByteArray errorsOfHost() const
    {
        QFile file(log());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    [[nodiscard]] QString
    address(const char* title, std::int32_t pid = self(), Family family = Family::Chromium)
    {
        return m_reports
            ->addressIn({.family = family, .processIdentifier = pid, .windowTitle = text(title)})
            .value_or(QString());
    }

    [[nodiscard]] QString addressInWindow(std::uint64_t window)
    {
        return m_reports
            ->addressIn({.family = Family::Chromium,
                         .processIdentifier = self(),
                         .windowTitle = text("A - Chromium"),
                         .window = window})
            .value_or(QString());
    }

    [[nodiscard]] static QDBusMessage call()
    {
        return QDBusMessage::createMethodCall(platform::dbus::applicationName(),
                                              text("/com/velomira/UsageMonitor/Browsers"),
                                              text("com.velomira.UsageMonitor.Browsers1"),
                                              text("Report"));
    }

    /// The error's name, empty for success.
    [[nodiscard]] static QString errorOf(QDBusConnection& caller, const QDBusMessage& message)
    {
        QDBusPendingCall pending = caller.asyncCall(message);
        if (!QTest::qWaitFor([&pending] { return pending.isFinished(); }, kPatienceMs))
            return text("no answer");
        return pending.error().isValid() ? pending.error().name() : QString();
    }

    [[nodiscard]] static QString report(QDBusConnection& caller,
                                        const char* family,
                                        const QByteArray& address,
                                        const QByteArray& title)
    {
        QDBusMessage message = call();
        message.setArguments(
            {text(family), QString::fromUtf8(address), QString::fromUtf8(title), true});
        return errorOf(caller, message);
    }

    std::unique_ptr<support::PrivateHome> m_home;
    std::unique_ptr<support::BusDaemon> m_bus;
    std::optional<QDBusConnection> m_connection;
    std::unique_ptr<BrowserReports> m_reports;
    QString m_host; // to which this process is the usage monitor
    support::ChildProcess m_silent;
};

QUILLSTEP_TEST(TestBrowserHost)
#include "tst_browser_host.moc"
