// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The installation as a desktop sees it: addresses of our scheme and launcher actions reach the
// program, whether it runs or not. In place of the installed program there is one that has the same
// face and writes down what reaches it.
#include "tests/support/private_bus.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/verify_outcome.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <vector>

using support::PrivateBus;

namespace {

constexpr int kPatienceMs = 60000;

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// All files below `folder`, by their paths in it.
QStringList filesBelow(const QString& folder)
{
    QStringList found;
    QDir root(folder);
    for (const QFileInfo& info :
         root.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name)) {
        if (!info.isDir())
            found += info.fileName();
        for (const QString& name : info.isDir() ? filesBelow(info.filePath()) : QStringList())
            found += info.fileName() + u'/' + name;
    }
    return found;
}

/// The exit code of a program; -1 when it does not end.
int run(const QProcessEnvironment& environment,
        const QString& program,
        const QStringList& arguments)
{
    QProcess process; // ends with this function at the latest
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    return process.waitForFinished(kPatienceMs) && process.exitStatus() == QProcess::NormalExit
               ? process.exitCode()
               : -1;
}

int install(const QString& prefix, const QString& destination = {})
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!destination.isEmpty())
        environment.insert(text("DESTDIR"), destination);
    return run(environment,
               text(CMAKE_PROGRAM),
               {text("--install"), text(BUILD_FOLDER), text("--prefix"), prefix});
}

} // namespace

class TestUrlScheme final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(PrivateBus::programs()
                         << text("gio") << text("xdg-open") << text("update-desktop-database"));
    }

    void init()
    {
        m_bus.emplace();
        QCOMPARE(install(m_bus->home()), 0);
        m_program = m_bus->home() + text("/bin/Quillstep");
        QVERIFY(QFile::remove(m_program));
        QVERIFY(QFile::copy(text(SHELL_CLIENT_EXECUTABLE), m_program));
        m_log = m_bus->home() + text("/log");
        m_bus->set("SHELL_CLIENT_LOG", m_log);
        m_bus->set("DISPLAY", text(":4711")); // a generic xdg-open wants one, of any kind
        m_bus->set("XDG_CURRENT_DESKTOP", QString());
        VERIFY_OUTCOME(m_bus->start());
    }

    void cleanup()
    {
        // What has been started by the bus or a shell is no child of ours.
        if (lines().contains(text("first"))) {
            QCOMPARE(run(m_bus->environment(), m_program, {text("--action"), text("quit")}), 0);
            QTRY_VERIFY(lines().contains(text("ending")));
        }
        m_bus.reset();
    }

    void theInstallationIsCompleteUnderAnyPrefix_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<bool>("isStaged");
        QTest::addColumn<QString>("exec");
        QTest::newRow("staged") << text("/opt/a-b_1.0") << true
                                << text("/opt/a-b_1.0/bin/Quillstep");
        QTest::newRow("staged, with a space")
            << text("/opt/a b") << true << text("\"/opt/a b/bin/Quillstep\"");
        QTest::newRow("at once") << QString() << false << QString();
    }

    void theInstallationIsCompleteUnderAnyPrefix()
    {
        QFETCH(QString, prefix);
        QFETCH(bool, isStaged);
        QFETCH(QString, exec);
        const QTemporaryDir folder;
        if (!isStaged) {
            prefix = folder.path();
            exec = prefix + text("/bin/Quillstep");
        }
        QCOMPARE(install(prefix, isStaged ? folder.path() : QString()), 0);
        const QString root = isStaged ? folder.path() + prefix : prefix;
        const QStringList files = filesBelow(root);
        for (const char* file : {"bin/Quillstep",
                                 "share/applications/com.velomira.UsageMonitor.desktop",
                                 "share/dbus-1/services/com.velomira.UsageMonitor.service",
                                 "share/metainfo/com.velomira.UsageMonitor.metainfo.xml",
                                 "share/man/man1/Quillstep.1",
                                 "share/bash-completion/completions/Quillstep"})
            QVERIFY2(files.contains(text(file)), qPrintable(files.join(u'\n')));
        QCOMPARE(files.contains(text("share/applications/mimeinfo.cache")), !isStaged);
        const QString desktop = contentOf(root + u'/' + files.filter(text(".desktop")).first());
        QVERIFY2(desktop.contains(text("\nExec=%1 %u\n").arg(exec)), qPrintable(desktop));
        QVERIFY(desktop.contains(text("\nExec=%1 --action quit\n").arg(exec)));
        const QString service =
            contentOf(root + text("/share/dbus-1/services/com.velomira.UsageMonitor.service"));
        QVERIFY2(service.contains(text("\nExec=%1 --gapplication-service\n").arg(exec)),
                 qPrintable(service));
        const QString unit = contentOf(root + text("/lib/systemd/system/velomira-service.service"));
        const QString program = QString(exec).replace(text("Quillstep"), text("velomira-service"));
        QVERIFY2(unit.contains(text("\nExecStart=%1 --database ").arg(program)), qPrintable(unit));
    }

    void theSchemeIsOurs()
    {
        QProcess query; // ends with this function at the latest
        query.setProcessEnvironment(m_bus->environment());
        query.start(text("xdg-mime"),
                    {text("query"), text("default"), text("x-scheme-handler/velomira")});
        QVERIFY(query.waitForFinished(kPatienceMs));
        QCOMPARE(query.readAll(), QByteArray("com.velomira.UsageMonitor.desktop\n"));
    }

    void theBusStartsTheProgramForAnAddress()
    {
        QCOMPARE(open(text("gio"), text("velomira://login")), 0);
        QTRY_COMPARE_WITH_TIMEOUT(told(), QStringList(text("url velomira://login")), kPatienceMs);
        QCOMPARE(open(text("gio"), text("velomira://dashboard")), 0);
        QTRY_COMPARE(told(),
                     QStringList({text("url velomira://login"), text("url velomira://dashboard")}));
        QCOMPARE(lines().count(text("first")), 1);
    }

    void aShellOpensAnAddressWhetherTheProgramRunsOrNot()
    {
        support::ChildProcess first; // a generic xdg-open ends with the program that it starts
        VERIFY_OUTCOME(
            first.start(text("xdg-open"), {text("velomira://dashboard")}, m_bus->environment()));
        QTRY_COMPARE_WITH_TIMEOUT(
            told(), QStringList(text("url velomira://dashboard")), kPatienceMs);
        QCOMPARE(open(text("xdg-open"), text("velomira://login?x=1&y=%20")), 0);
        QTRY_COMPARE(told(),
                     QStringList({text("url velomira://dashboard"),
                                  text("url velomira://login?x=1&y=%20")}));
        QCOMPARE(lines().count(text("first")), 1);
    }

    void aCallStartsTheProgramAndReachesIt()
    {
        const QString name = text("com.velomira.UsageMonitor");
        const QString path = text("/com/velomira/UsageMonitor");
        const QString interface = text("org.freedesktop.Application.");
        QCOMPARE(m_bus->call(name,
                             path,
                             interface + text("ActivateAction"),
                             {text("settings"), text("[]"), text("{}")}),
                 text("()"));
        QCOMPARE(m_bus->call(name,
                             path,
                             interface + text("Open"),
                             {text("['velomira://login', 'velomira://dashboard']"),
                              text("{'desktop-startup-id': <'id'>}")}),
                 text("()"));
        QCOMPARE(m_bus->call(name, path, interface + text("Activate"), {text("{}")}), text("()"));
        QTRY_COMPARE(lines(),
                     QStringList({text("first"),
                                  text("action settings []"),
                                  text("url velomira://login [id]"),
                                  text("url velomira://dashboard [id]"),
                                  text("activated []")}));
    }

    void everyActionOfTheLauncherRunsWithoutTheBusToo()
    {
        const QString desktop =
            contentOf(m_bus->dataHome() + text("/applications/com.velomira.UsageMonitor.desktop"));
        const QString program = QRegularExpression::escape(m_program);
        QRegularExpressionMatchIterator lines =
            QRegularExpression(text("^Exec=%1 (?!%u)(.+)$").arg(program),
                               QRegularExpression::MultilineOption)
                .globalMatch(desktop);
        QCOMPARE(open(text("gio"), text("velomira://login")), 0);
        while (lines.hasNext())
            QCOMPARE(run(m_bus->environment(), m_program, lines.next().captured(1).split(u' ')), 0);
        QTRY_COMPARE(told(),
                     QStringList({text("url velomira://login"),
                                  text("url velomira://dashboard"),
                                  text("url velomira://login"),
                                  text("action settings"),
                                  text("action quit")}));
        QTRY_VERIFY(this->lines().contains(text("ending")));
        QVERIFY(QFile::remove(m_log));
    }

    void fiftyAddressesAtOnceAllArriveAtOneInstance_data()
    {
        QTest::addColumn<bool>("runs");
        QTest::newRow("cold") << false;
        QTest::newRow("warm") << true;
    }

    void fiftyAddressesAtOnceAllArriveAtOneInstance()
    {
        QFETCH(bool, runs);
        QStringList expected;
        if (runs) {
            QCOMPARE(open(text("gio"), text("velomira://warm")), 0);
            expected += text("url velomira://warm");
        }
        std::vector<std::unique_ptr<support::ChildProcess>> openers;
        for (int i = 0; i < 50; ++i) {
            const QString url = text("velomira://dashboard?%1").arg(i);
            openers.push_back(std::make_unique<support::ChildProcess>());
            // Every fifth by way of a second start, the others by way of the bus.
            VERIFY_OUTCOME(
                i % 5 == 0
                    ? openers.back()->start(text("xdg-open"), {url}, environment())
                    : openers.back()->start(text("gio"), {text("open"), url}, environment()));
            expected += text("url ") + url;
        }
        expected.sort();
        QTRY_COMPARE_WITH_TIMEOUT(told().size(), expected.size(), kPatienceMs);
        QStringList arrived = told();
        arrived.sort();
        QCOMPARE(arrived, expected);
        QCOMPARE(lines().count(text("first")), 1);
    }

private:
    [[nodiscard]] QProcessEnvironment environment() const { return m_bus->environment(); }

    [[nodiscard]] QStringList lines() const
    {
        QStringList all = contentOf(m_log).split(u'\n');
        all.removeLast();
        return all;
    }

    /// What has been asked of the program, without the tokens.
    [[nodiscard]] QStringList told() const
    {
        QStringList asked;
        for (const QString& line : lines()) {
            if (line.endsWith(u']'))
                asked += line.section(text(" ["), 0, 0);
        }
        return asked;
    }

    [[nodiscard]] int open(const QString& opener, const QString& url) const
    {
        const bool isGio = opener == text("gio");
        return run(
            environment(), opener, isGio ? QStringList{text("open"), url} : QStringList(url));
    }

    std::optional<PrivateBus> m_bus;
    QString m_program;
    QString m_log;
};

QUILLSTEP_TEST(TestUrlScheme)
#include "tst_url_scheme.moc"
