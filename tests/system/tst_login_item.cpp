// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The autostart entry as others see it: the validator of desktop files, GLib, full and read-only
// disks.
#include "backends/xdg/autostart_login_item.h"
#include "tests/support/autostart_folders.h"
#include "tests/support/required_programs.h"
#include "tests/support/small_disk.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <gio/gdesktopappinfo.h>

using namespace Qt::StringLiterals;
using platform::xdg::AutostartLoginItem;
using support::AutostartFolders;

namespace {

/// What desktop-file-validate has to say about `file`; empty for nothing.
QString complaints(const QString& file)
{
    QProcess validator;
    validator.setProcessChannelMode(QProcess::MergedChannels);
    validator.start(QStringLiteral("desktop-file-validate"), {file});
    if (!validator.waitForFinished() || validator.exitStatus() != QProcess::NormalExit)
        return QStringLiteral("the validator did not run");
    const QString said = QString::fromLocal8Bit(validator.readAll());
    if (said.isEmpty() && validator.exitCode() != 0)
        return QStringLiteral("refused without a reason");
    return said;
}

/// What GLib, and with it several desktops, makes of `file`; null when it starts nothing.
GDesktopAppInfo* infoOf(const QString& file)
{
    return g_desktop_app_info_new_from_filename(QFile::encodeName(file).constData());
}

bool launch(const QString& file)
{
    GDesktopAppInfo* const info = infoOf(file);
    if (info == nullptr)
        return false;
    const bool launched = g_app_info_launch(G_APP_INFO(info), nullptr, nullptr, nullptr) != FALSE;
    g_object_unref(info);
    return launched;
}

bool isHidden(const QString& file)
{
    GDesktopAppInfo* const info = infoOf(file);
    if (info == nullptr)
        return false;
    const bool hidden = g_desktop_app_info_get_is_hidden(info) != FALSE;
    g_object_unref(info);
    return hidden;
}

} // namespace

class TestLoginItem final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void whatIsWrittenIsAValidEntryThatStartsTheProgram_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("plain") << u"monitor"_s;
        QTest::newRow("space") << u"a b"_s;
        QTest::newRow("quotes") << u"it's \"quoted\""_s;
        QTest::newRow("backslashes") << u"a\\b \\n\\s\\\\"_s;
        QTest::newRow("percent signs") << u"100%f%%"_s;
        QTest::newRow("percent signs and a space") << u"100 %f%%"_s;
        QTest::newRow("shell") << u"$HOME `id` $(id);a&b|c>d<e*?#~[x]{y}!"_s;
        QTest::newRow("other scripts") << u"Bücher 中 😀"_s;
    }

    void whatIsWrittenIsAValidEntryThatStartsTheProgram()
    {
        REQUIRE_PROGRAMS({u"desktop-file-validate"_s});
        QFETCH(const QString, name);
        AutostartFolders folders;
        const QString program = folders.path(u"programs/"_s + name);
        AutostartFolders::addProgram(program);
        AutostartLoginItem item = folders.itemOf(program);
        QVERIFY(item.setEnabled(true));
        QCOMPARE(complaints(folders.userFile()), QString());
        QVERIFY(launch(folders.userFile()));
        QTRY_VERIFY(QFileInfo::exists(program + u".ran"_s));
    }

    void theValidatorFindsFaults()
    {
        REQUIRE_PROGRAMS({u"desktop-file-validate"_s});
        const AutostartFolders folders;
        AutostartFolders::write(folders.userFile(), "Type=Application\nExec=x %x\n");
        QVERIFY(!complaints(folders.userFile()).isEmpty());
    }

    void anEntryThatHidesTheSystemsIsValid()
    {
        REQUIRE_PROGRAMS({u"desktop-file-validate"_s});
        AutostartFolders folders;
        AutostartFolders::write(folders.systemFile(), "Type=Application\nName=X\nExec=x\n");
        AutostartLoginItem item = folders.item();
        QVERIFY(item.setEnabled(false));
        QCOMPARE(complaints(folders.userFile()), QString());
        QVERIFY(isHidden(folders.userFile()));
    }

    void aFullDiskKeepsTheOldState()
    {
        support::SmallDisk disk(64L * 1024);
        REQUIRE_SMALL_DISK(disk);
        AutostartFolders folders(disk.path());
        AutostartLoginItem item = folders.item();
        QVERIFY(QDir().mkpath(disk.path() + u"/autostart"_s));
        QFile filler(disk.path() + u"/filler"_s);
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'x')) > 0) {
        }
        const platform::Outcome outcome = item.setEnabled(true);
        QVERIFY(!outcome);
        QCOMPARE(outcome.error().text,
                 u"cannot write %1: No space left on device"_s.arg(folders.userFile()));
        QVERIFY(!item.isEnabled());
        QCOMPARE(QDir(disk.path() + u"/autostart"_s).entryList(QDir::Files | QDir::Hidden),
                 QStringList());
        QVERIFY(filler.resize(0));
        QVERIFY(item.setEnabled(true));
        QVERIFY(item.isEnabled());
    }

    void aReadOnlyDiskKeepsTheOldState()
    {
        support::SmallDisk disk(64L * 1024);
        REQUIRE_SMALL_DISK(disk);
        AutostartFolders folders(disk.path());
        AutostartLoginItem item = folders.item();
        QVERIFY(item.setEnabled(true));
        const QByteArray before = AutostartFolders::read(folders.userFile());
        QVERIFY(disk.makeReadOnly());
        const platform::Outcome disabled = item.setEnabled(false);
        QVERIFY(!disabled);
        QCOMPARE(disabled.error().text,
                 u"cannot remove %1: Read-only file system"_s.arg(folders.userFile()));
        const platform::Outcome enabled = item.setEnabled(true);
        QVERIFY(!enabled);
        QCOMPARE(enabled.error().text,
                 u"cannot write %1: Read-only file system"_s.arg(folders.userFile()));
        QVERIFY(item.isEnabled());
        QCOMPARE(AutostartFolders::read(folders.userFile()), before);
    }

    void aFolderThatCannotBeMadeIsNamed()
    {
        support::SmallDisk disk(64L * 1024);
        REQUIRE_SMALL_DISK(disk);
        QVERIFY(disk.makeReadOnly());
        AutostartFolders folders(disk.path() + u"/config"_s);
        AutostartLoginItem item = folders.item();
        const platform::Outcome outcome = item.setEnabled(true);
        QVERIFY(!outcome);
        QCOMPARE(outcome.error().text,
                 u"cannot create the folder %1/config: Read-only file system"_s.arg(disk.path()));
        QVERIFY(!item.isEnabled());
    }
};

QUILLSTEP_TEST(TestLoginItem)
#include "tst_login_item.moc"
