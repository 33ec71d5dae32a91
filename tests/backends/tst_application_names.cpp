// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/application_names.h"
#include "tests/support/desktop_files.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace platform::xdg;
using namespace std::chrono_literals;
using support::DesktopFiles;
using support::writeFile;

class TestApplicationNames final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init()
    {
        m_files = std::make_unique<DesktopFiles>();
        m_proc = std::make_unique<QTemporaryDir>();
    }

    void theFirstQuestionWaitsForTheDesktopFiles()
    {
        for (int i = 0; i < 300; ++i)
            QVERIFY(m_files->add(u"filler%1.desktop"_s.arg(i), "Name=F"));
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Editor"));
        ApplicationNames names({m_files->folder()});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
    }

    void aFileAddedLaterIsNoticed()
    {
        ApplicationNames names({m_files->folder()}, {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"a"_s));
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Editor"));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
    }

    void aFolderAddedLaterIsNoticed()
    {
        ApplicationNames names({m_files->path(u"later"_s)}, {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"a"_s));
        QVERIFY(m_files->add(u"later/a.desktop"_s, "Name=Editor"));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
    }

    void foldersOfWhichNothingExistsYetAreNoticed()
    {
        ApplicationNames names({m_files->path(u"one/two/three"_s), m_files->path(u"one/other"_s)},
                               {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"a"_s));
        QVERIFY(QDir().mkpath(m_files->path(u"one"_s)));
        QTRY_COMPARE(names.edition(), 2);
        QVERIFY(m_files->add(u"one/two/three/a.desktop"_s, "Name=Editor"));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
        QVERIFY(m_files->add(u"one/other/b.desktop"_s, "Name=Viewer"));
        QTRY_COMPARE(names.identify({u"b"_s}, 0).name, std::optional(u"Viewer"_s));
    }

    void aFileInAFolderOfAFolderIsNoticed()
    {
        QVERIFY(m_files->add(u"kde/a.desktop"_s, "Name=Editor"));
        ApplicationNames names({m_files->folder()}, {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"kde-b"_s}, 0).name, std::optional(u"kde-b"_s));
        QVERIFY(m_files->add(u"kde/b.desktop"_s, "Name=Viewer"));
        QTRY_COMPARE(names.identify({u"kde-b"_s}, 0).name, std::optional(u"Viewer"_s));
    }

    void aFileThatIsRewrittenIsNoticed()
    {
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Editor"));
        ApplicationNames names({m_files->folder()}, {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Writer"));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Writer"_s));
    }

    void whatComesBesideAMissingFolderIsNoReasonToRead()
    {
        ApplicationNames names({m_files->path(u"later"_s)}, {.checkInterval = 0ms});
        QCOMPARE(names.edition(), 1);
        for (int i = 0; i < 5; ++i) {
            QVERIFY(m_files->add(u"a%1.desktop"_s.arg(i), "Name=Editor"));
            QCOMPARE(names.edition(), 1);
        }
        QVERIFY(m_files->add(u"later/a.desktop"_s, "Name=Editor"));
        QTRY_VERIFY(names.edition() > 1);
    }

    // On a network, for instance: somebody else puts a folder where another one was.
    void whatNobodyTellsIsSeenInTheEnd()
    {
        QVERIFY(m_files->add(u"one/a.desktop"_s, "Name=Editor"));
        QVERIFY(m_files->add(u"two/a.desktop"_s, "Name=Writer"));
        const QString link = m_files->path(u"link"_s);
        QVERIFY(QFile::link(m_files->path(u"one"_s), link));
        ApplicationNames names({link}, {.checkInterval = 0ms, .rereadInterval = 50ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
        QVERIFY(QFile::remove(link) && QFile::link(m_files->path(u"two"_s), link));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Writer"_s));
    }

    void aRemovedFileIsNoticed()
    {
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Editor"));
        ApplicationNames names({m_files->folder()}, {.checkInterval = 0ms});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"Editor"_s));
        QVERIFY(QFile::remove(m_files->path(u"a.desktop"_s)));
        QTRY_COMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"a"_s));
    }

    void foldersAreNotLookedAtBeforeTheInterval()
    {
        ApplicationNames names({m_files->folder()}, {.checkInterval = 1h});
        QCOMPARE(names.identify({u"a"_s}, 0).name, std::optional(u"a"_s));
        QVERIFY(m_files->add(u"a.desktop"_s, "Name=Editor"));
        QVERIFY(m_files->add(u"b.desktop"_s, "Name=Viewer"));
        QCOMPARE(names.identify({u"b"_s}, 0).name, std::optional(u"b"_s));
    }

    void aRepeatedQuestionReadsNoProcess()
    {
        QVERIFY(m_files->add(u"editor.desktop"_s, "Name=Editor\nExec=prog"));
        ApplicationNames names({m_files->folder()}, optionsWithProgram());
        QVERIFY(answersAndThenForgetsTheProgram(names));
        QCOMPARE(names.identify({u"x"_s}, kPid).name, std::optional(u"Editor"_s));
        // Another question does look, and finds nothing.
        QCOMPARE(names.identify({u"y"_s}, kPid).name, std::optional(u"y"_s));
    }

    void onlyTheLastAnswersAreKept()
    {
        QVERIFY(m_files->add(u"editor.desktop"_s, "Name=Editor\nExec=prog"));
        ApplicationNames names({m_files->folder()}, optionsWithProgram());
        QVERIFY(answersAndThenForgetsTheProgram(names));
        for (int i = 0; i < 1000; ++i)
            QVERIFY(names.identify({QString::number(i)}, 0).name.has_value());
        QCOMPARE(names.identify({u"x"_s}, kPid).name, std::optional(u"x"_s));
    }

    void itEndsWhileItIsStillReading()
    {
        for (int i = 0; i < 300; ++i)
            QVERIFY(m_files->add(u"filler%1.desktop"_s.arg(i), "Name=F"));
        const ApplicationNames names({m_files->folder()});
    }

private:
    static constexpr int kPid = 42;

    [[nodiscard]] ApplicationNames::Options optionsWithProgram() const
    {
        return {.checkInterval = 1h, .procFolder = m_proc->path()};
    }

    /// Asks for the application of a program that runs as kPid, and ends the program.
    [[nodiscard]] bool answersAndThenForgetsTheProgram(ApplicationNames& names) const
    {
        const QString process = m_proc->filePath(QString::number(kPid));
        return QDir().mkpath(process) && QFile::link(u"/usr/bin/prog"_s, process + u"/exe"_s) &&
               names.identify({u"x"_s}, kPid).name == u"Editor"_s &&
               QDir(process).removeRecursively();
    }

    std::unique_ptr<DesktopFiles> m_files;
    std::unique_ptr<QTemporaryDir> m_proc;
};

QUILLSTEP_TEST(TestApplicationNames)
#include "tst_application_names.moc"
