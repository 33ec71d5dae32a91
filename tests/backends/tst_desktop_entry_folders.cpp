// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/base_directories.h"
#include "backends/xdg/desktop_entry_index.h"
#include "tests/support/test_program.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace platform::xdg;

class TestDesktopEntryFolders final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void withoutVariablesTheDefaultsCount()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/home/u"_s);
        const QStringList expected{u"/home/u/.local/share/applications"_s,
                                   u"/usr/local/share/applications"_s,
                                   u"/usr/share/applications"_s,
                                   u"/var/lib/flatpak/exports/share/applications"_s,
                                   u"/home/u/.local/share/flatpak/exports/share/applications"_s,
                                   u"/var/lib/snapd/desktop/applications"_s};
        QCOMPARE(desktopEntryFolders(environment), expected);

        environment.insert(u"XDG_DATA_HOME"_s, QString());
        environment.insert(u"XDG_DATA_DIRS"_s, QString());
        QCOMPARE(desktopEntryFolders(environment), expected);
    }

    void variablesComeInTheirOrderAndOnce()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/home/u"_s);
        environment.insert(u"XDG_DATA_HOME"_s, u"/d"_s);
        environment.insert(u"XDG_DATA_DIRS"_s, u"/b/:/a:/b:/var/lib/flatpak/exports/share::/"_s);
        const QStringList expected{u"/d/applications"_s,
                                   u"/b/applications"_s,
                                   u"/a/applications"_s,
                                   u"/var/lib/flatpak/exports/share/applications"_s,
                                   u"//applications"_s,
                                   u"/d/flatpak/exports/share/applications"_s,
                                   u"/var/lib/snapd/desktop/applications"_s};
        QCOMPARE(desktopEntryFolders(environment), expected);
    }

    void relativePathsAreIgnored()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/home/u"_s);
        environment.insert(u"XDG_DATA_HOME"_s, u"here"_s);
        environment.insert(u"XDG_DATA_DIRS"_s, u"there:/a"_s);
        const QStringList folders = desktopEntryFolders(environment);
        QCOMPARE(folders.at(0), u"/home/u/.local/share/applications"_s);
        QCOMPARE(folders.at(1), u"/a/applications"_s);
    }

    void subFoldersBecomePrefixesOfTheId()
    {
        QCOMPARE(desktopIdOfPath(u"a.desktop"_s), u"a"_s);
        QCOMPARE(desktopIdOfPath(u"kde/net/a.desktop"_s), u"kde-net-a"_s);
        QCOMPARE(desktopIdOfPath(u"a.txt"_s), QString());
        QCOMPARE(desktopIdOfFile(u"/x/applications/y/applications/kde/a.desktop"_s), u"kde-a"_s);
        QCOMPARE(desktopIdOfFile(u"/home/u/Desktop/a.desktop"_s), u"a"_s);
        QCOMPARE(desktopIdOfFile(QString()), QString());
    }
};

QUILLSTEP_TEST(TestDesktopEntryFolders)
#include "tst_desktop_entry_folders.moc"
