// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/application_matcher.h"
#include "tests/support/desktop_files.h"

#include <QTest>

#include <memory>

using namespace platform::xdg;
using support::DesktopFiles;

namespace {
ProcessFacts launchedFrom(const QString& id)
{
    ProcessFacts process;
    process.launchedDesktopId = id;
    return process;
}

ProcessFacts running(const QString& executable, const QString& calledAs)
{
    ProcessFacts process;
    process.executable = executable;
    process.calledAs = calledAs;
    return process;
}

ProcessFacts named(const QString& commandName)
{
    ProcessFacts process;
    process.commandName = commandName;
    return process;
}
} // namespace

class TestApplicationMatcher final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void init() { m_files = std::make_unique<DesktopFiles>(); }

    void anExactIdOfAnyIdentifierComesFirst()
    {
        add("Term", "StartupWMClass=Other");
        add("other", "StartupWMClass=org.x.Term");
        QCOMPARE(matched({u"org.x.Term"_qs, u"Term"_qs}), u"Term"_qs);
        QCOMPARE(matched({u"Term.desktop"_qs}), u"Term"_qs);
    }

    void amongIdentifiersTheMoreTellingComesFirst()
    {
        add("a");
        add("b");
        QCOMPARE(matched({u"b"_qs, u"a"_qs}), u"b"_qs);
    }

    void anExactWindowClassComesBeforeAnIdInLowerCase()
    {
        add("xterm");
        add("debian-xterm", "StartupWMClass=XTerm");
        QCOMPARE(matched({u"XTerm"_qs}), u"debian-xterm"_qs);
    }

    void idsMatchInLowerCaseAndWithBlanksReplaced()
    {
        add("some-editor");
        add("otherviewer");
        add("Mixed");
        QCOMPARE(matched({u"Some Editor"_qs}), u"some-editor"_qs);
        QCOMPARE(matched({u"Other Viewer"_qs}), u"otherviewer"_qs);
        QCOMPARE(matched({u"mixed"_qs}), u"Mixed"_qs);
    }

    void anIdInLowerCaseComesBeforeAWindowClassInAnyCase()
    {
        add("term");
        add("other", "StartupWMClass=tERM");
        QCOMPARE(matched({u"TERM"_qs}), u"term"_qs);
    }

    void aWindowClassInAnyCaseComesBeforeTheProcess()
    {
        add("other", "StartupWMClass=tERM");
        add("launched");
        QCOMPARE(matched({u"TERM"_qs}, launchedFrom(u"launched"_qs)), u"other"_qs);
    }

    void theProcessIsAskedInItsOrder()
    {
        add("launched");
        add("grouped");
        add("boxed");
        add("run", "Exec=/usr/bin/prog");
        ProcessFacts process{.launchedDesktopId = u"launched"_qs,
                             .controlGroupDesktopIds = {u"unknown"_qs, u"grouped"_qs},
                             .flatpakId = u"boxed"_qs,
                             .executable = u"prog"_qs,
                             .calledAs = {},
                             .commandName = {}};
        QCOMPARE(matched({u"x"_qs}, process), u"launched"_qs);
        process.launchedDesktopId = u"removed"_qs;
        QCOMPARE(matched({u"x"_qs}, process), u"grouped"_qs);
        process.controlGroupDesktopIds.clear();
        QCOMPARE(matched({u"x"_qs}, process), u"boxed"_qs);
        process.flatpakId.clear();
        QCOMPARE(matched({u"x"_qs}, process), u"run"_qs);
    }

    void theProgramAsCalledCountsWhereTheExecutableTellsNothing()
    {
        add("run", "Exec=/usr/bin/wrapper %U");
        QCOMPARE(matched({u"x"_qs}, running(u"prog-bin"_qs, u"wrapper"_qs)), u"run"_qs);
    }

    void interpretersTellNothing_data()
    {
        QTest::addColumn<QString>("program");
        for (const char* program : {"python3",
                                    "python3.11",
                                    "perl",
                                    "bash",
                                    "-bash",
                                    "sh",
                                    "env",
                                    "node",
                                    "gjs",
                                    "gjs-console",
                                    "java",
                                    "ruby",
                                    "flatpak",
                                    "snap",
                                    "sudo",
                                    "bwrap",
                                    "electron25"})
            QTest::newRow(program) << QString::fromLatin1(program);
    }

    void interpretersTellNothing()
    {
        QFETCH(const QString, program);
        add("idle", "Exec=" + program.toLatin1());
        QCOMPARE(matched({u"x"_qs}, running(program, program)), u"x"_qs);
    }

    void aProgramComesBeforeTheLastComponent()
    {
        add("org.x.Web");
        add("browser", "Exec=web-bin");
        QCOMPARE(matched({u"web"_qs}, running(u"web-bin"_qs, QString())), u"browser"_qs);
        QCOMPARE(matched({u"web"_qs}), u"org.x.Web"_qs);
    }

    void theNameIsTheEntrys()
    {
        add("a", "Name=The Editor");
        QCOMPARE(match({u"a"_qs}).name, std::optional(u"The Editor"_qs));
    }

    void anEntryWithoutNameGoesByItsId()
    {
        add("a");
        QCOMPARE(match({u"A"_qs}).name, std::optional(u"a"_qs));
    }

    void withoutEntryTheFirstIdentifierStandsIn()
    {
        const ApplicationIdentity expected{.identifier = u"org.x.Tool"_qs,
                                           .name = u"org.x.Tool"_qs};
        QVERIFY(match({u""_qs, u"org.x.Tool"_qs, u"Tool"_qs}, named(u"python3"_qs)) == expected);
    }

    void thisProgramGoesByItsDisplayNameWithoutADesktopFile_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("executable");
        QTest::newRow("Wayland") << u"com.velomira.UsageMonitor"_qs << u""_qs;
        QTest::newRow("X11") << u"Quillstep"_qs << u""_qs;
        QTest::newRow("XWayland, lower case") << u"quillstep"_qs << u""_qs;
        QTest::newRow("a desktop file's name") << u"com.velomira.UsageMonitor.desktop"_qs << u""_qs;
        QTest::newRow("the process only") << u""_qs << u"Quillstep"_qs;
        QTest::newRow("a name of the toolkit's") << u"Velomira"_qs << u"Quillstep"_qs;
    }

    void thisProgramGoesByItsDisplayNameWithoutADesktopFile()
    {
        QFETCH(const QString, identifier);
        QFETCH(const QString, executable);
        const ApplicationIdentity expected{.identifier = u"com.velomira.UsageMonitor"_qs,
                                           .name = u"Velomira Usage Monitor"_qs};
        QVERIFY(match({identifier}, running(executable, executable)) == expected);
        add("com.velomira.UsageMonitor", "Name=Velomira Usage Monitor\nStartupWMClass=Quillstep");
        QVERIFY(match({identifier}, running(executable, executable)) == expected);
    }

    void programsWithSimilarNamesAreOthers()
    {
        QCOMPARE(match({u"Quillsteps"_qs}).name, std::optional(u"Quillsteps"_qs));
        QCOMPARE(match({}, named(u"Quillstep"_qs)).name, std::optional(u"Quillstep"_qs));
    }

    void torBrowserIsNotTheFirefoxWhoseExecutableItRuns()
    {
        add("firefox", "Exec=/usr/lib/firefox/firefox %u");
        const ProcessFacts process = running(u"firefox"_qs, u"firefox"_qs);
        QCOMPARE(matched({u"Navigator"_qs}, process), u"firefox"_qs);
        QCOMPARE(matched({u"Tor Browser"_qs, u"Navigator"_qs}, process), u"Tor Browser"_qs);
        add("torbrowser", "StartupWMClass=Tor Browser");
        QCOMPARE(matched({u"Tor Browser"_qs, u"Navigator"_qs}, process), u"torbrowser"_qs);
    }

    void withoutIdentifierTheProcessNameStandsIn()
    {
        const ApplicationIdentity expected{.identifier = std::nullopt, .name = u"tool"_qs};
        QVERIFY(match({}, named(u"tool"_qs)) == expected);
        QVERIFY(match({}) == ApplicationIdentity());
    }

private:
    void add(const char* id, const QByteArray& lines = {})
    {
        QVERIFY(m_files->add(QString::fromLatin1(id) + u".desktop"_qs, lines));
    }

    ApplicationIdentity match(const QStringList& identifiers,
                              const ProcessFacts& process = {}) const
    {
        return matchApplication(identifiers, process, DesktopEntryIndex({m_files->folder()}));
    }

    QString matched(const QStringList& identifiers, const ProcessFacts& process = {}) const
    {
        return match(identifiers, process).identifier.value_or(u"(none)"_qs);
    }

    std::unique_ptr<DesktopFiles> m_files;
};

QTEST_GUILESS_MAIN(TestApplicationMatcher)
#include "tst_application_matcher.moc"
