// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/desktop_entry_folders.h"
#include "platform/linux/xdg/desktop_id.h"

#include <QTest>

using namespace platform::xdg;

class TestDesktopEntryFolders final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void withoutVariablesTheDefaultsCount()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_qs, u"/home/u"_qs);
        const QStringList expected{u"/home/u/.local/share/applications"_qs,
                                   u"/usr/local/share/applications"_qs,
                                   u"/usr/share/applications"_qs,
                                   u"/var/lib/flatpak/exports/share/applications"_qs,
                                   u"/home/u/.local/share/flatpak/exports/share/applications"_qs,
                                   u"/var/lib/snapd/desktop/applications"_qs};
        QCOMPARE(desktopEntryFolders(environment), expected);

        environment.insert(u"XDG_DATA_HOME"_qs, QString());
        environment.insert(u"XDG_DATA_DIRS"_qs, QString());
        QCOMPARE(desktopEntryFolders(environment), expected);
    }

    void variablesComeInTheirOrderAndOnce()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_qs, u"/home/u"_qs);
        environment.insert(u"XDG_DATA_HOME"_qs, u"/d"_qs);
        environment.insert(u"XDG_DATA_DIRS"_qs, u"/b/:/a:/b:/var/lib/flatpak/exports/share::/"_qs);
        const QStringList expected{u"/d/applications"_qs,
                                   u"/b/applications"_qs,
                                   u"/a/applications"_qs,
                                   u"/var/lib/flatpak/exports/share/applications"_qs,
                                   u"//applications"_qs,
                                   u"/d/flatpak/exports/share/applications"_qs,
                                   u"/var/lib/snapd/desktop/applications"_qs};
        QCOMPARE(desktopEntryFolders(environment), expected);
    }

    void relativePathsAreIgnored()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_qs, u"/home/u"_qs);
        environment.insert(u"XDG_DATA_HOME"_qs, u"here"_qs);
        environment.insert(u"XDG_DATA_DIRS"_qs, u"there:/a"_qs);
        const QStringList folders = desktopEntryFolders(environment);
        QCOMPARE(folders.at(0), u"/home/u/.local/share/applications"_qs);
        QCOMPARE(folders.at(1), u"/a/applications"_qs);
    }

    void subFoldersBecomePrefixesOfTheId()
    {
        QCOMPARE(desktopIdOfPath(u"a.desktop"_qs), u"a"_qs);
        QCOMPARE(desktopIdOfPath(u"kde/net/a.desktop"_qs), u"kde-net-a"_qs);
        QCOMPARE(desktopIdOfPath(u"a.txt"_qs), QString());
        QCOMPARE(desktopIdOfFile(u"/x/applications/y/applications/kde/a.desktop"_qs), u"kde-a"_qs);
        QCOMPARE(desktopIdOfFile(u"/home/u/Desktop/a.desktop"_qs), u"a"_qs);
        QCOMPARE(desktopIdOfFile(QString()), QString());
    }
};

QTEST_GUILESS_MAIN(TestDesktopEntryFolders)
#include "tst_desktop_entry_folders.moc"
