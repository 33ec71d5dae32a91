// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_entry_index.h"
#include "tests/support/desktop_files.h"

#include <QTest>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

using namespace platform::xdg;
using support::DesktopFiles;
using support::writeFile;

namespace {
QString nameOf(const DesktopEntry* entry)
{
    return entry != nullptr ? entry->name : u"(none)"_qs;
}

QString idOf(const DesktopEntry* entry)
{
    return entry != nullptr ? entry->id : u"(none)"_qs;
}

/// Makes the folder look as if it was last changed `seconds` ago.
bool age(const QString& folder, int seconds = 60)
{
    timespec times[2]{};
    ::clock_gettime(CLOCK_REALTIME, times);
    times[0].tv_sec -= seconds;
    times[1] = times[0];
    return ::utimensat(AT_FDCWD, folder.toLocal8Bit().constData(), times, 0) == 0;
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
        QVERIFY(m_first->add(u"org.x.Term.desktop"_qs,
                             "Name=Term\nStartupWMClass=XTerm\nExec=env A=1 /usr/bin/term --new "
                             "%U\nNoDisplay=true"));
        const DesktopEntryIndex index = read();
        QVERIFY(index.withId(u"org.x.Term"_qs) != nullptr);
        const DesktopEntry expected{.id = u"org.x.Term"_qs,
                                    .name = u"Term"_qs,
                                    .startupWmClass = u"XTerm"_qs,
                                    .program = u"term"_qs,
                                    .shown = false,
                                    .hidden = false};
        QVERIFY(*index.withId(u"org.x.Term"_qs) == expected);
        QCOMPARE(index.withIdInAnyCase(u"ORG.X.TERM"_qs), index.withId(u"org.x.Term"_qs));
        QCOMPARE(index.withWindowClass(u"XTerm"_qs), index.withId(u"org.x.Term"_qs));
        QCOMPARE(index.withWindowClass(u"xterm"_qs), nullptr);
        QCOMPARE(index.withWindowClassInAnyCase(u"xterm"_qs), index.withId(u"org.x.Term"_qs));
        QCOMPARE(index.withProgram(u"term"_qs), index.withId(u"org.x.Term"_qs));
        QCOMPARE(index.withLastComponent(u"TERM"_qs), index.withId(u"org.x.Term"_qs));
        QCOMPARE(index.withId(u"org.x"_qs), nullptr);
    }

    void namesAreInTheUsersLanguage()
    {
        QVERIFY(
            m_first->add(u"exact.desktop"_qs, "Name=Files\nName[de]=Dateien\nName[de_AT]=Ordner"));
        QVERIFY(m_first->add(u"language.desktop"_qs, "Name=Files\nName[de]=Dateien"));
        QVERIFY(m_first->add(u"next.desktop"_qs, "Name=Files\nName[fr]=Fichiers"));
        QVERIFY(m_first->add(u"none.desktop"_qs, "Name=Files\nName[it]=File"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"exact"_qs)), u"Ordner"_qs);
        QCOMPARE(nameOf(index.withId(u"language"_qs)), u"Dateien"_qs);
        QCOMPARE(nameOf(index.withId(u"next"_qs)), u"Fichiers"_qs);
        QCOMPARE(nameOf(index.withId(u"none"_qs)), u"Files"_qs);
    }

    void theFirstFolderWins()
    {
        QVERIFY(m_first->add(u"a.desktop"_qs, "Name=First"));
        QVERIFY(m_second->add(u"a.desktop"_qs, "Name=Second"));
        QVERIFY(m_second->add(u"b.desktop"_qs, "Name=Only"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"a"_qs)), u"First"_qs);
        QCOMPARE(nameOf(index.withId(u"b"_qs)), u"Only"_qs);
        QCOMPARE(index.size(), std::size_t{2});
    }

    void hiddenRemovesTheEntryOfLaterFoldersToo()
    {
        QVERIFY(m_first->add(u"a.desktop"_qs, "Hidden=true"));
        QVERIFY(m_second->add(u"a.desktop"_qs, "Name=Second"));
        QCOMPARE(read().size(), std::size_t{0});
    }

    void subFoldersBecomePrefixes()
    {
        QVERIFY(m_first->add(u"kde/net/a.desktop"_qs, "Name=Deep"));
        QVERIFY(m_second->add(u"kde-net-a.desktop"_qs, "Name=Flat"));
        QCOMPARE(nameOf(read().withId(u"kde-net-a"_qs)), u"Deep"_qs);
    }

    void anEntryWhoseProgramIsNotInstalledKeepsItsName()
    {
        QVERIFY(m_first->add(u"a.desktop"_qs,
                             "Name=Sandboxed\nTryExec=/nowhere/at/all\nExec=/nowhere/at/all"));
        QCOMPARE(nameOf(read().withId(u"a"_qs)), u"Sandboxed"_qs);
        QCOMPARE(nameOf(read().withProgram(u"all"_qs)), u"Sandboxed"_qs);
    }

    void whatIsNoApplicationIsLeftOut()
    {
        const QByteArray head("[Desktop Entry]\n");
        QVERIFY(writeFile(m_first->path(u"link.desktop"_qs), head + "Type=Link\nName=L\nURL=x:"));
        QVERIFY(writeFile(m_first->path(u"untyped.desktop"_qs), head + "Name=U\n"));
        QVERIFY(writeFile(m_first->path(u"broken.desktop"_qs), "no key file\n"));
        QVERIFY(writeFile(m_first->path(u"empty.desktop"_qs), QByteArray()));
        QVERIFY(writeFile(m_first->path(u"bytes.desktop"_qs), QByteArray(5000, '\xff')));
        QVERIFY(writeFile(m_first->path(u"huge.desktop"_qs),
                          head + "Type=Application\nName=H\n#" + QByteArray(2'000'000, 'x')));
        QVERIFY(writeFile(m_first->path(u"a.txt"_qs), head + "Type=Application\nName=T\n"));
        QVERIFY(QFile::link(u"/nowhere/at/all"_qs, m_first->path(u"dangling.desktop"_qs)));
        QCOMPARE(::mkfifo(m_first->path(u"pipe.desktop"_qs).toLocal8Bit().constData(), 0600), 0);
        QVERIFY(QDir().mkpath(m_first->path(u"folder.desktop"_qs)));
        QVERIFY(m_first->add(u"good.desktop"_qs, "Name=Good"));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"good"_qs)), u"Good"_qs);
        QCOMPARE(index.size(), std::size_t{1});
    }

    void aBrokenFileDoesNotHideTheNextFoldersOne()
    {
        QVERIFY(writeFile(m_first->path(u"a.desktop"_qs), "no key file\n"));
        QVERIFY(m_second->add(u"a.desktop"_qs, "Name=Second"));
        QCOMPARE(nameOf(read().withId(u"a"_qs)), u"Second"_qs);
    }

    void linksThatLeadInCirclesEnd()
    {
        QVERIFY(m_first->add(u"in/a.desktop"_qs, "Name=A"));
        QVERIFY(QFile::link(m_first->folder(), m_first->path(u"in/back"_qs)));
        QVERIFY(QFile::link(m_first->path(u"in"_qs), m_first->path(u"in/self"_qs)));
        const DesktopEntryIndex index = read();
        QCOMPARE(nameOf(index.withId(u"in-a"_qs)), u"A"_qs);
        QCOMPARE(index.size(), std::size_t{1});
    }

    void amongSeveralTheShownThenTheShortestThenTheFirstWins()
    {
        QVERIFY(m_first->add(u"a.desktop"_qs, "Name=A\nExec=x\nStartupWMClass=X\nNoDisplay=true"));
        QVERIFY(m_first->add(u"longer.desktop"_qs, "Name=L\nExec=x\nStartupWMClass=X"));
        QVERIFY(m_first->add(u"cc.desktop"_qs, "Name=C\nExec=x\nStartupWMClass=X"));
        QVERIFY(m_second->add(u"bb.desktop"_qs, "Name=B\nExec=x\nStartupWMClass=X"));
        const DesktopEntryIndex index = read();
        QCOMPARE(idOf(index.withProgram(u"x"_qs)), u"bb"_qs);
        QCOMPARE(idOf(index.withWindowClass(u"X"_qs)), u"bb"_qs);
    }

    void emptyKeysAreNotFound()
    {
        QVERIFY(m_first->add(u"a.desktop"_qs, "Name=A"));
        const DesktopEntryIndex index = read();
        QCOMPARE(index.withWindowClass(QString()), nullptr);
        QCOMPARE(index.withProgram(QString()), nullptr);
    }

    void missingFoldersAreEmptyUntilTheyAppear()
    {
        const QString later = m_first->path(u"later"_qs);
        const DesktopEntryIndex index({later});
        QCOMPARE(index.size(), std::size_t{0});
        QVERIFY(index.isUpToDate());
        QVERIFY(QDir().mkpath(later));
        QVERIFY(!index.isUpToDate());
    }

    void anAddedOrRemovedFileIsNoticed()
    {
        QVERIFY(m_first->add(u"sub/a.desktop"_qs, "Name=A"));
        QVERIFY(age(m_first->path(u"sub"_qs)) && age(m_first->folder()) && age(m_second->folder()));
        const DesktopEntryIndex before = read();
        QVERIFY(before.isUpToDate());
        QVERIFY(m_first->add(u"sub/b.desktop"_qs, "Name=B"));
        QVERIFY(!before.isUpToDate());

        QVERIFY(age(m_first->path(u"sub"_qs)));
        const DesktopEntryIndex between = read();
        QVERIFY(between.isUpToDate());
        QVERIFY(QFile::remove(m_first->path(u"sub/b.desktop"_qs)));
        QVERIFY(!between.isUpToDate());
    }

    void aFolderChangedAMomentAgoIsNotTrusted()
    {
        // Tried again where the machine is too slow for "a moment".
        QTRY_VERIFY(age(m_first->folder(), 0) && !read().isUpToDate());
    }

    void aFolderFromTheFutureIsTrusted()
    {
        QVERIFY(age(m_first->folder(), -3600) && age(m_second->folder()));
        const DesktopEntryIndex index = read();
        QVERIFY(index.isUpToDate());
        QVERIFY(age(m_first->folder()));
        QVERIFY(!index.isUpToDate());
    }

private:
    DesktopEntryIndex read() const
    {
        return DesktopEntryIndex({m_first->folder(), m_second->folder()});
    }

    std::unique_ptr<DesktopFiles> m_first;
    std::unique_ptr<DesktopFiles> m_second;
};

QTEST_GUILESS_MAIN(TestDesktopEntryIndex)
#include "tst_desktop_entry_index.moc"
