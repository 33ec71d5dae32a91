// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/desktop_entry_index.h"
#include "tests/support/desktop_files.h"
#include "tests/support/test_program.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace platform::xdg;
using support::DesktopFiles;
using support::writeFile;

namespace {
QString nameOf(const DesktopEntry* entry)
{
    return entry != nullptr ? entry->name : u"(none)"_s;
}

QString idOf(const DesktopEntry* entry)
{
    return entry != nullptr ? entry->id : u"(none)"_s;
}

} // namespace

class TestDesktopEntryIndex final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { qputenv("LANGUAGE", "de_AT:fr"); }

    void init()
    {
        m_first = std::make_unique<DesktopFiles>();
        m_second = std::make_unique<DesktopFiles>();
    }

    void anEntryIsReadWithAllThatIsUsed()
    {
        QVERIFY(m_first->add(u"org.x.Term.desktop"_s,
                             "Name=Term\nStartupWMClass=XTerm\nExec=env A=1 /usr/bin/term --new "
                             "%U\nNoDisplay=true"));
        const DesktopEntryIndex index = read();
        QVERIFY(index.withId(u"org.x.Term"_s) != nullptr);
        const DesktopEntry expected{.id = u"org.x.Term"_s,
                                    .name = u"Term"_s,
                                    .startupWmClass = u"XTerm"_s,
                                    .program = u"term"_s,
                                    .shown = false,
                                    .hidden = false};
        QVERIFY(*index.withId(u"org.x.Term"_s) == expected);
        QCOMPARE(index.withIdInAnyCase(u"ORG.X.TERM"_s), index.withId(u"org.x.Term"_s));
        QCOMPARE(index.withWindowClass(u"XTerm"_s), index.withId(u"org.x.Term"_s));
        QCOMPARE(index.withWindowClass(u"xterm"_s), nullptr);
        QCOMPARE(index.withWindowClassInAnyCase(u"xterm"_s), index.withId(u"org.x.Term"_s));
        QCOMPARE(index.withProgram(u"term"_s), index.withId(u"org.x.Term"_s));
        QCOMPARE(index.withLastComponent(u"TERM"_s), index.withId(u"org.x.Term"_s));
        QCOMPARE(index.withId(u"org.x"_s), nullptr);
    }

    void namesAreInTheUsersLanguage()
    {
        QVERIFY(
            m_first->add(u"exact.desktop"_s, "Name=Files\nName[de]=Dateien\nName[de_AT]=Ordner"));
        QVERIFY(m_first->add(u"language.desktop"_s, "Name=Files\nName[de]=Dateien"));
        QVERIFY(m_first->add(u"next.desktop"_s, "Name=Files\nName[fr]=Fichiers"));
        QVERIFY(m_first->add(u"none.desktop"_s, "Name=Files\nName[it]=File"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"exact"_s)), u"Ordner"_s);
        QCOMPARE(nameOf(index.withId(u"language"_s)), u"Dateien"_s);
        QCOMPARE(nameOf(index.withId(u"next"_s)), u"Fichiers"_s);
        QCOMPARE(nameOf(index.withId(u"none"_s)), u"Files"_s);
    }

    void theFirstFolderWins()
    {
        QVERIFY(m_first->add(u"a.desktop"_s, "Name=First"));
        QVERIFY(m_second->add(u"a.desktop"_s, "Name=Second"));
        QVERIFY(m_second->add(u"b.desktop"_s, "Name=Only"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"a"_s)), u"First"_s);
        QCOMPARE(nameOf(index.withId(u"b"_s)), u"Only"_s);
        QCOMPARE(index.size(), std::size_t{2});
    }

    void hiddenRemovesTheEntryOfLaterFoldersToo()
    {
        QVERIFY(m_first->add(u"a.desktop"_s, "Hidden=true"));
        QVERIFY(m_second->add(u"a.desktop"_s, "Name=Second"));
        QCOMPARE(read().size(), std::size_t{0});
    }

    void subFoldersBecomePrefixes()
    {
        QVERIFY(m_first->add(u"kde/net/a.desktop"_s, "Name=Deep"));
        QVERIFY(m_second->add(u"kde-net-a.desktop"_s, "Name=Flat"));
        QCOMPARE(nameOf(read().withId(u"kde-net-a"_s)), u"Deep"_s);
    }

    void anEntryWhoseProgramIsNotInstalledKeepsItsName()
    {
        QVERIFY(m_first->add(u"a.desktop"_s,
                             "Name=Sandboxed\nTryExec=/nowhere/at/all\nExec=/nowhere/at/all"));
        QCOMPARE(nameOf(read().withId(u"a"_s)), u"Sandboxed"_s);
        QCOMPARE(nameOf(read().withProgram(u"all"_s)), u"Sandboxed"_s);
    }

    void whatIsNoApplicationIsLeftOut()
    {
        const QByteArray head("[Desktop Entry]\n");
        QVERIFY(writeFile(m_first->path(u"link.desktop"_s), head + "Type=Link\nName=L\nURL=x:"));
        QVERIFY(writeFile(m_first->path(u"untyped.desktop"_s), head + "Name=U\n"));
        QVERIFY(writeFile(m_first->path(u"broken.desktop"_s), "no key file\n"));
        QVERIFY(writeFile(m_first->path(u"empty.desktop"_s), QByteArray()));
        QVERIFY(writeFile(m_first->path(u"bytes.desktop"_s), QByteArray(5000, '\xff')));
        QVERIFY(writeFile(m_first->path(u"huge.desktop"_s),
                          head + "Type=Application\nName=H\n#" + QByteArray(2'000'000, 'x')));
        QVERIFY(writeFile(m_first->path(u"a.txt"_s), head + "Type=Application\nName=T\n"));
        QVERIFY(QFile::link(u"/nowhere/at/all"_s, m_first->path(u"dangling.desktop"_s)));
        QCOMPARE(::mkfifo(m_first->path(u"pipe.desktop"_s).toLocal8Bit().constData(), 0600), 0);
        QVERIFY(QDir().mkpath(m_first->path(u"folder.desktop"_s)));
        QVERIFY(m_first->add(u"good.desktop"_s, "Name=Good"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"good"_s)), u"Good"_s);
        QCOMPARE(index.size(), std::size_t{1});
    }

    void aBrokenFileDoesNotHideTheNextFoldersOne()
    {
        QVERIFY(writeFile(m_first->path(u"a.desktop"_s), "no key file\n"));
        QVERIFY(m_second->add(u"a.desktop"_s, "Name=Second"));
        QCOMPARE(nameOf(read().withId(u"a"_s)), u"Second"_s);
    }

    void linksThatLeadInCirclesEnd()
    {
        QVERIFY(m_first->add(u"in/a.desktop"_s, "Name=A"));
        QVERIFY(QFile::link(m_first->folder(), m_first->path(u"in/back"_s)));
        QVERIFY(QFile::link(m_first->path(u"in"_s), m_first->path(u"in/self"_s)));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"in-a"_s)), u"A"_s);
        QCOMPARE(index.size(), std::size_t{1});
    }

    void amongSeveralTheShownThenTheShortestThenTheFirstWins()
    {
        QVERIFY(m_first->add(u"a.desktop"_s, "Name=A\nExec=x\nStartupWMClass=X\nNoDisplay=true"));
        QVERIFY(m_first->add(u"longer.desktop"_s, "Name=L\nExec=x\nStartupWMClass=X"));
        QVERIFY(m_first->add(u"cc.desktop"_s, "Name=C\nExec=x\nStartupWMClass=X"));
        QVERIFY(m_second->add(u"bb.desktop"_s, "Name=B\nExec=x\nStartupWMClass=X"));
        const DesktopEntryIndex index = read();
        QCOMPARE(idOf(index.withProgram(u"x"_s)), u"bb"_s);
        QCOMPARE(idOf(index.withWindowClass(u"X"_s)), u"bb"_s);
    }

    void emptyKeysAreNotFound()
    {
        QVERIFY(m_first->add(u"a.desktop"_s, "Name=A"));
        const DesktopEntryIndex index = read();
        QCOMPARE(index.withWindowClass(QString()), nullptr);
        QCOMPARE(index.withProgram(QString()), nullptr);
    }

    void missingFoldersAreEmpty()
    {
        const DesktopEntryIndex index({m_first->path(u"later"_s)});
        QCOMPARE(index.size(), std::size_t{0});
    }

    void watchesAreWholeAgainWhenTheNextReadingHasAllOfThem()
    {
        const QString folder = m_first->path(u"around"_s);
        QVERIFY(QFile::link(folder, folder)); // leads to itself, and cannot be watched
        FolderWatch watch;
        const DesktopEntryIndex before({folder}, &watch);
        QVERIFY(!watch.isComplete());
        QVERIFY(QFile::remove(folder));
        const DesktopEntryIndex after({folder}, &watch);
        QVERIFY(watch.isComplete());
    }

private:
    DesktopEntryIndex read() const
    {
        return DesktopEntryIndex({m_first->folder(), m_second->folder()});
    }

    std::unique_ptr<DesktopFiles> m_first;
    std::unique_ptr<DesktopFiles> m_second;
};

QUILLSTEP_TEST(TestDesktopEntryIndex)
#include "tst_desktop_entry_index.moc"
