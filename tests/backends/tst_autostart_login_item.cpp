// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/autostart_login_item.h"
#include "tests/platform/contract/login_item_contract.h"
#include "tests/support/autostart_folders.h"
#include "tests/support/test_program.h"

#include <QDir>
#include <QTest>

#include <memory>
#include <optional>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using platform::xdg::AutostartLoginItem;
using support::AutostartFolders;

namespace {

QByteArray execOf(const QString& program)
{
    return "Type=Application\nName=X\nExec=" + program.toUtf8() + '\n';
}

mode_t modeOf(const QString& path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        qFatal("cannot look at %s", qPrintable(path));
    return info.st_mode & 07777U;
}

} // namespace

class TestAutostartLoginItem final : public contract::LoginItemContract
{
    Q_OBJECT

    std::unique_ptr<AutostartFolders> m_folders;
    std::optional<AutostartLoginItem> m_item;

protected:
    [[nodiscard]] platform::LoginItem& item() override { return *m_item; }

    void switchOffElsewhere() override
    {
        QByteArray content = AutostartFolders::read(m_folders->userFile());
        content.replace("X-GNOME-Autostart-enabled=true", "X-GNOME-Autostart-enabled=false");
        QVERIFY(support::writeFile(m_folders->userFile(), content));
    }

    void makeFailing() override
    {
        QVERIFY(support::writeFile(m_folders->configHome() + u"/autostart"_s, "a file"));
    }

private:
    [[nodiscard]] bool startsWith(const QByteArray& lines)
    {
        AutostartFolders::write(m_folders->userFile(), lines);
        return m_item->isEnabled();
    }

    [[nodiscard]] QString program() const { return m_folders->program(); }

private Q_SLOTS:

    void init()
    {
        m_item.reset();
        m_folders = std::make_unique<AutostartFolders>();
        m_item.emplace(m_folders->session(), m_folders->program());
    }

    void theEntrySaysWhatIsToBeStarted()
    {
        QVERIFY(m_item->setEnabled(true));
        QCOMPARE(AutostartFolders::read(m_folders->userFile()),
                 "[Desktop Entry]\nType=Application\nName=Velomira Usage Monitor\n"
                 "Icon=com.velomira.UsageMonitor\nExec=" +
                     program().toUtf8() + "\nX-GNOME-Autostart-enabled=true\n");
    }

    void missingFoldersAreMadeForTheUserOnly()
    {
        QVERIFY(m_item->setEnabled(true));
        QCOMPARE(modeOf(m_folders->configHome()), 0700U);
        QCOMPARE(modeOf(m_folders->configHome() + u"/autostart"_s), 0700U);
    }

    void existingFoldersStayAsTheyAre()
    {
        const QString folder = m_folders->configHome() + u"/autostart"_s;
        QVERIFY(QDir().mkpath(folder));
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), 0755), 0);
        QVERIFY(m_item->setEnabled(true));
        QCOMPARE(modeOf(folder), 0755U);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void unregisteringLeavesNoEntry()
    {
        QVERIFY(m_item->setEnabled(true));
        QVERIFY(m_item->setEnabled(false));
        QCOMPARE(
            QDir(m_folders->configHome() + u"/autostart"_s).entryList(QDir::Files | QDir::Hidden),
            QStringList());
    }

    void entriesThatStartNothingDoNotCount()
    {
        const QByteArray exec = execOf(program());
        QVERIFY(startsWith(exec));
        QVERIFY(startsWith(exec + "Hidden=false\nX-GNOME-Autostart-enabled=true\n"));
        QVERIFY(startsWith(exec + "Hidden=perhaps\nX-GNOME-Autostart-enabled=perhaps\n"));
        QVERIFY(!startsWith(exec + "Hidden=true\n"));
        QVERIFY(!startsWith(exec + "X-GNOME-Autostart-enabled=false\n"));
        QVERIFY(!startsWith("Type=Link\nName=X\nURL=http://h/\n"));
        QVERIFY(!startsWith("Exec=" + program().toUtf8() + '\n'));
        QVERIFY(!startsWith("Type=Application\nName=X\n"));
        QVERIFY(!startsWith(""));
    }

    void theProgramMustBeThere()
    {
        QVERIFY(startsWith(execOf(u'"' + program() + u'"')));
        QVERIFY(startsWith(execOf(program() + u" --option %u"_s)));
        QVERIFY(!startsWith(execOf(program() + u"-gone"_s)));
        QVERIFY(!startsWith(execOf(u'"' + program())));
        QVERIFY(!startsWith(execOf(m_folders->configHome()))); // a folder
        QVERIFY(support::writeFile(m_folders->path(u"text"_s), "no program"));
        QVERIFY(!startsWith(execOf(m_folders->path(u"text"_s))));
        QVERIFY(!startsWith(execOf(program()) + "TryExec=/gone\n"));
        QVERIFY(startsWith(execOf(program()) + "TryExec=" + program().toUtf8() + '\n'));
    }

    void programsAreFoundByNameInTheirFoldersOnly()
    {
        QVERIFY(!startsWith(execOf(u"tool"_s)));
        AutostartFolders::addProgram(m_folders->path(u"bin/tool"_s));
        QVERIFY(startsWith(execOf(u"tool"_s)));
        QVERIFY(startsWith(execOf(u"tool"_s) + "TryExec=tool\n"));
        QVERIFY(!startsWith(execOf(u"./tool"_s)));
        QVERIFY(!startsWith(execOf(u"bin/tool"_s)));
        QVERIFY(!startsWith(execOf(u"sh"_s)));
        QVERIFY(startsWith(execOf(u"env tool"_s)));
        QVERIFY(startsWith(execOf(u"/usr/bin/env A=/b B= tool --option"_s)));
        QVERIFY(!startsWith(execOf(u"env A=b gone"_s)));
        QVERIFY(!startsWith(execOf(u"env"_s)));
    }

    void entriesForOtherDesktopsDoNotCount()
    {
        const QByteArray exec = execOf(program());
        QVERIFY(startsWith(exec + "OnlyShowIn=Other;Desk;\n"));
        QVERIFY(startsWith(exec + "OnlyShowIn=Base;\n"));
        QVERIFY(!startsWith(exec + "OnlyShowIn=Other;\n"));
        QVERIFY(!startsWith(exec + "OnlyShowIn=\n"));
        QVERIFY(!startsWith(exec + "NotShowIn=Other;Base;\n"));
        QVERIFY(startsWith(exec + "NotShowIn=Other;\n"));
        // The desktop's first name that is listed decides.
        QVERIFY(startsWith(exec + "OnlyShowIn=Desk;\nNotShowIn=Base;\n"));
        QVERIFY(!startsWith(exec + "OnlyShowIn=Base;\nNotShowIn=Desk;\n"));
    }

    void registeringKeepsWhatTheUserHasAdded()
    {
        AutostartFolders::write(m_folders->userFile(),
                                "# mine\nType=Application\nName=My monitor\nName[de]=Meiner\n"
                                "Exec=/gone\nTryExec=/gone\nHidden=true\nOnlyShowIn=Desk;\n"
                                "X-GNOME-Autostart-enabled=false\nX-GNOME-Autostart-Delay=7\n"
                                "\n[Desktop Action x]\nName=X\n");
        QVERIFY(m_item->setEnabled(true));
        QVERIFY(m_item->isEnabled());
        const QByteArray content = AutostartFolders::read(m_folders->userFile());
        for (const char* kept : {"# mine\n",
                                 "\nName=My monitor\n",
                                 "\nName[de]=Meiner\n",
                                 "\nOnlyShowIn=Desk;\n",
                                 "\nX-GNOME-Autostart-Delay=7\n",
                                 "\nX-GNOME-Autostart-enabled=true\n",
                                 "\n[Desktop Action x]\nName=X\n"})
            QVERIFY2(content.contains(kept), content.constData());
        QVERIFY(content.contains("\nExec=" + program().toUtf8() + '\n'));
        QVERIFY(!content.contains("Hidden") && !content.contains("/gone"));
    }

    void registeringOverridesWhatKeepsTheEntryFromThisDesktop()
    {
        for (const char* line : {"OnlyShowIn=Other;\n", "NotShowIn=Desk;\n"}) {
            AutostartFolders::write(m_folders->userFile(), execOf(program()) + line);
            QVERIFY(m_item->setEnabled(true));
            QVERIFY(m_item->isEnabled());
        }
    }

    void aDamagedEntryIsReplaced()
    {
        QVERIFY(support::writeFile(m_folders->userFile(), "no entry\n"));
        QVERIFY(!m_item->isEnabled());
        QVERIFY(m_item->setEnabled(true));
        QVERIFY(m_item->isEnabled());
        QVERIFY(support::writeFile(m_folders->userFile(), "no entry\n"));
        QVERIFY(m_item->setEnabled(false));
        QVERIFY(!QFileInfo::exists(m_folders->userFile()));
    }

    void theSystemsEntryCountsAsLongAsTheUserHasNone()
    {
        AutostartFolders::write(m_folders->systemFile(), execOf(program()));
        QVERIFY(m_item->isEnabled());
        QVERIFY(!startsWith(execOf(program()) + "Hidden=true\n"));
        QVERIFY(support::writeFile(m_folders->userFile(), "no entry\n"));
        QVERIFY(!m_item->isEnabled());
    }

    void ofTheSystemsEntriesTheFirstCounts()
    {
        AutostartFolders::write(m_folders->systemFile(2), execOf(program()));
        QVERIFY(m_item->isEnabled());
        AutostartFolders::write(m_folders->systemFile(1), execOf(program()) + "Hidden=true\n");
        QVERIFY(!m_item->isEnabled());
    }

    void registeringWhatTheSystemStartsWritesNothing()
    {
        AutostartFolders::write(m_folders->systemFile(), execOf(program()));
        QVERIFY(m_item->setEnabled(true));
        QVERIFY(!QFileInfo::exists(m_folders->userFile()));
    }

    void unregisteringHidesTheSystemsEntry()
    {
        const QByteArray system = execOf(program());
        AutostartFolders::write(m_folders->systemFile(2), system);
        QVERIFY(m_item->setEnabled(false));
        QVERIFY(!m_item->isEnabled());
        QVERIFY(AutostartFolders::read(m_folders->userFile()).contains("\nHidden=true\n"));
        QVERIFY(m_item->setEnabled(false));
        QVERIFY(m_item->setEnabled(true));
        QVERIFY(m_item->isEnabled());
        QVERIFY(!AutostartFolders::read(m_folders->userFile()).contains("Hidden"));
        QCOMPARE(AutostartFolders::read(m_folders->systemFile(2)), "[Desktop Entry]\n" + system);
    }

    void withoutAHomeOnlyTheSystemCanEnableIt()
    {
        AutostartLoginItem::Session session = m_folders->session();
        session.configHome.reset();
        AutostartLoginItem homeless(session, program());
        QVERIFY(!homeless.isEnabled());
        QVERIFY(homeless.setEnabled(false));
        const platform::Outcome outcome = homeless.setEnabled(true);
        QVERIFY(!outcome);
        QVERIFY2(outcome.error().text.contains(u"HOME"), qPrintable(outcome.error().text));
        AutostartFolders::write(m_folders->systemFile(), execOf(program()));
        QVERIFY(homeless.isEnabled());
        QVERIFY(homeless.setEnabled(true));
        QVERIFY(!homeless.setEnabled(false));
        QVERIFY(homeless.isEnabled());
    }

    void aFileInTheFoldersPlaceIsAnError()
    {
        makeFailing();
        const platform::Outcome outcome = m_item->setEnabled(true);
        QVERIFY(!outcome);
        QCOMPARE(
            outcome.error().text,
            u"cannot create the folder %1/autostart: File exists"_s.arg(m_folders->configHome()));
        QCOMPARE(AutostartFolders::read(m_folders->configHome() + u"/autostart"_s),
                 QByteArray("a file"));
    }

    void aFolderInTheEntrysPlaceIsAnError()
    {
        QVERIFY(QDir().mkpath(m_folders->userFile() + u"/x"_s));
        QVERIFY(!m_item->isEnabled());
        const platform::Outcome enabled = m_item->setEnabled(true);
        QVERIFY(!enabled);
        QCOMPARE(enabled.error().text,
                 u"cannot write %1: Is a directory"_s.arg(m_folders->userFile()));
        const platform::Outcome disabled = m_item->setEnabled(false);
        QVERIFY(!disabled);
        QCOMPARE(disabled.error().text,
                 u"cannot remove %1: Is a directory"_s.arg(m_folders->userFile()));
        QVERIFY(!m_item->isEnabled());
    }

    void aProgramThatHasGoneIsNotRegistered()
    {
        for (const QString& gone : {QString(), u"monitor"_s, program() + u" (deleted)"_s}) {
            AutostartLoginItem item = m_folders->itemOf(gone);
            const platform::Outcome outcome = item.setEnabled(true);
            QVERIFY(!outcome);
            QVERIFY2(outcome.error().text.contains(u"no executable file"),
                     qPrintable(outcome.error().text));
            QVERIFY(!QFileInfo::exists(m_folders->userFile()));
        }
    }

    void anyPathOfTheProgramWorks_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("space") << u"a b"_s;
        QTest::newRow("quotes") << u"it's \"quoted\""_s;
        QTest::newRow("backslashes") << u"a\\b \\n\\s\\\\"_s;
        QTest::newRow("percent signs") << u"100%u %% %f"_s;
        QTest::newRow("percent sign alone") << u"100%f%%"_s;
        QTest::newRow("percent and equals sign") << u"100%=1"_s;
        QTest::newRow("shell") << u"$HOME `id` $(id);a&b|c>d<e*?#~[x]{y}!"_s;
        QTest::newRow("line break and tab") << u" a\n\tb\r "_s;
        QTest::newRow("equals sign and semicolon") << u"a=b;c"_s;
        QTest::newRow("other scripts") << u"Bücher 中 😀"_s;
    }

    void anyPathOfTheProgramWorks()
    {
        QFETCH(const QString, name);
        const QString path = m_folders->path(u"programs/"_s + name);
        AutostartFolders::addProgram(path);
        AutostartLoginItem item = m_folders->itemOf(path);
        QVERIFY(item.setEnabled(true));
        QVERIFY(item.isEnabled());
        QVERIFY(QFile::remove(path));
        QVERIFY(!item.isEnabled()); // so it was that one
    }

    void theSessionIsWhatTheEnvironmentSays()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/home/x"_s);
        environment.insert(u"XDG_CONFIG_DIRS"_s, u"/a::relative:/b"_s);
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"Desk:Base"_s);
        environment.insert(u"PATH"_s, u"/bin:.:/usr/bin"_s);
        const auto session = AutostartLoginItem::Session::of(environment);
        QCOMPARE(session.configHome, std::optional(u"/home/x/.config"_s));
        QCOMPARE(session.configDirs, QStringList({u"/a"_s, u"/b"_s}));
        QCOMPARE(session.currentDesktops, QStringList({u"Desk"_s, u"Base"_s}));
        QCOMPARE(session.programFolders, QStringList({u"/bin"_s, u"/usr/bin"_s}));
        const auto bare = AutostartLoginItem::Session::of(QProcessEnvironment());
        QVERIFY(!bare.configHome);
        QCOMPARE(bare.configDirs, QStringList({u"/etc/xdg"_s}));
    }
};

QUILLSTEP_TEST(TestAutostartLoginItem)
#include "tst_autostart_login_item.moc"
