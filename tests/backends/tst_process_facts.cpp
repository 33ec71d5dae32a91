// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/application_names.h"
#include "tests/support/test_program.h"
#include "tests/support/written_file.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace platform::xdg;
using support::writeFile;

namespace {
QByteArray nulTerminated(const QByteArrayList& texts)
{
    return texts.join('\0') + '\0';
}
} // namespace

class TestProcessFacts final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_proc = std::make_unique<QTemporaryDir>();
        QVERIFY(m_proc->isValid());
    }

    void launchEnvironmentCountsForItsOwnProcessOnly()
    {
        const QByteArray file(
            "GIO_LAUNCHED_DESKTOP_FILE=/usr/share/applications/kde/org.x.desktop");
        write("environ", nulTerminated({"A=1", file, "GIO_LAUNCHED_DESKTOP_FILE_PID=42"}));
        QCOMPARE(facts().launchedDesktopId, u"kde-org.x"_s);

        write("environ", nulTerminated({file, "GIO_LAUNCHED_DESKTOP_FILE_PID=41"}));
        QCOMPARE(facts().launchedDesktopId, QString());
        write("environ", nulTerminated({file}));
        QCOMPARE(facts().launchedDesktopId, QString());
        write("environ", nulTerminated({"GIO_LAUNCHED_DESKTOP_FILE_PID=42"}));
        QCOMPARE(facts().launchedDesktopId, QString());
    }

    void controlGroupNamesTheApplication_data()
    {
        QTest::addColumn<QByteArray>("unit");
        QTest::addColumn<QStringList>("ids");
        QTest::newRow("scope") << QByteArray("app-org.x.Term-123.scope")
                               << QStringList{u"org.x.Term"_s};
        QTest::newRow("scope of a launcher") << QByteArray("app-gnome-org.x.Term-123.scope")
                                             << QStringList{u"org.x.Term"_s, u"gnome-org.x.Term"_s};
        QTest::newRow("escaped hyphen") << QByteArray("app-gnome-foo\\x2dbar-123.scope")
                                        << QStringList{u"foo-bar"_s, u"gnome-foo-bar"_s};
        QTest::newRow("service") << QByteArray("app-org.x.Term@0f3a.service")
                                 << QStringList{u"org.x.Term"_s};
        QTest::newRow("service without instance")
            << QByteArray("app-org.x.Term.service") << QStringList{u"org.x.Term"_s};
        QTest::newRow("autostart")
            << QByteArray("app-nm\\x2dapplet@autostart.service") << QStringList{u"nm-applet"_s};
        QTest::newRow("broken escape")
            << QByteArray("app-a\\xzz-1.scope") << QStringList{u"a\\xzz"_s};
        QTest::newRow("escape at the end")
            << QByteArray("app-a\\x2-1.scope") << QStringList{u"a\\x2"_s};
        QTest::newRow("no random part") << QByteArray("app-foo.scope") << QStringList{};
        QTest::newRow("a session") << QByteArray("session-2.scope") << QStringList{};
        QTest::newRow("a slice") << QByteArray("app-foo-1.slice") << QStringList{};
    }

    void controlGroupNamesTheApplication()
    {
        QFETCH(const QByteArray, unit);
        write("cgroup",
              "0::/user.slice/user-1000.slice/user@1000.service/app.slice/" + unit + "\n");
        QTEST(facts().controlGroupDesktopIds, "ids");
    }

    void flatpakIdIsReadFromTheSandbox()
    {
        write("root/.flatpak-info",
              "[Runtime]\nname=org.x.Platform\n[Application]\nname=org.x.App\nruntime=r\n");
        QCOMPARE(facts().flatpakId, u"org.x.App"_s);
        write("root/.flatpak-info", "[Runtime]\nname=org.x.Platform\n");
        QCOMPARE(facts().flatpakId, QString());
    }

    void programNamesAreWithoutFolders()
    {
        write("cmdline", nulTerminated({"/usr/bin/x-term", "-e", "/bin/sh"}));
        write("comm", "x-term-main\n");
        QVERIFY(QFile::link(u"/opt/x/term"_s, path("exe")));
        QCOMPARE(facts().executable, u"term"_s);
        QCOMPARE(facts().calledAs, u"x-term"_s);
        QCOMPARE(facts().commandName, u"x-term-main"_s);
    }

    void aCommandLineWithoutNulIsAProgramName()
    {
        write("cmdline", "/usr/bin/x-term");
        QCOMPARE(facts().calledAs, u"x-term"_s);
    }

    void anExecutableReplacedWhileItRunsKeepsItsName()
    {
        write("comm", "term");
        QVERIFY(QFile::link(u"/opt/x/term (deleted)"_s, path("exe")));
        QCOMPARE(facts().executable, u"term"_s);
    }

    void aProcessThatIsNotThereTellsNothing()
    {
        QCOMPARE(readProcessFacts(4711, m_proc->path()), ProcessFacts());
        QCOMPARE(readProcessFacts(0, m_proc->path()), ProcessFacts());
        QCOMPARE(readProcessFacts(-1, m_proc->path()), ProcessFacts());
    }

    void foldersInPlaceOfFilesAreAsIfAbsent()
    {
        for (const char* name :
             {"environ", "cgroup", "cmdline", "comm", "exe", "root/.flatpak-info"})
            QVERIFY(QDir().mkpath(path(name)));
        QCOMPARE(facts(), ProcessFacts());
    }

    void aHugeFileIsReadInPart()
    {
        write("comm", QByteArray(10'000'000, 'x'));
        QVERIFY(facts().commandName.size() <= 16 * 1024);
        QVERIFY(!facts().commandName.isEmpty());
    }

    void thisProcessIsRead()
    {
        const ProcessFacts own = readProcessFacts(::getpid());
        QCOMPARE(own.executable, u"tst_backends_process_facts"_s);
        QCOMPARE(own.calledAs, own.executable);
        QCOMPARE(own.commandName, own.executable.left(15));
    }

private:
    QString path(const char* name) const
    {
        return m_proc->filePath(u"42/"_s + QString::fromLatin1(name));
    }

    void write(const char* name, const QByteArray& content) const
    {
        QVERIFY(writeFile(path(name), content));
    }

    ProcessFacts facts() const { return readProcessFacts(42, m_proc->path()); }

    std::unique_ptr<QTemporaryDir> m_proc;
};

QUILLSTEP_TEST(TestProcessFacts)
#include "tst_process_facts.moc"
