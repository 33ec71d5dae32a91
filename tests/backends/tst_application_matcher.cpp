// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/application_names.h"
#include "tests/support/desktop_files.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
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
        QCOMPARE(matched({u"org.x.Term"_s, u"Term"_s}), u"Term"_s);
        QCOMPARE(matched({u"Term.desktop"_s}), u"Term"_s);
    }

    void amongIdentifiersTheMoreTellingComesFirst()
    {
        add("a");
        add("b");
        QCOMPARE(matched({u"b"_s, u"a"_s}), u"b"_s);
    }

    void anExactWindowClassComesBeforeAnIdInLowerCase()
    {
        add("xterm");
        add("debian-xterm", "StartupWMClass=XTerm");
        QCOMPARE(matched({u"XTerm"_s}), u"debian-xterm"_s);
    }

    void idsMatchInLowerCaseAndWithBlanksReplaced()
    {
        add("some-editor");
        add("otherviewer");
        add("Mixed");
        QCOMPARE(matched({u"Some Editor"_s}), u"some-editor"_s);
        QCOMPARE(matched({u"Other Viewer"_s}), u"otherviewer"_s);
        QCOMPARE(matched({u"mixed"_s}), u"Mixed"_s);
    }

    void anIdInLowerCaseComesBeforeAWindowClassInAnyCase()
    {
        add("term");
        add("other", "StartupWMClass=tERM");
        QCOMPARE(matched({u"TERM"_s}), u"term"_s);
    }

    void aWindowClassInAnyCaseComesBeforeTheProcess()
    {
        add("other", "StartupWMClass=tERM");
        add("launched");
        QCOMPARE(matched({u"TERM"_s}, launchedFrom(u"launched"_s)), u"other"_s);
    }

    void theProcessIsAskedInItsOrder()
    {
        add("launched");
        add("grouped");
        add("boxed");
        add("run", "Exec=/usr/bin/prog");
        ProcessFacts process{.launchedDesktopId = u"launched"_s,
                             .controlGroupDesktopIds = {u"unknown"_s, u"grouped"_s},
                             .flatpakId = u"boxed"_s,
                             .executable = u"prog"_s,
                             .calledAs = {},
                             .commandName = {}};
        QCOMPARE(matched({u"x"_s}, process), u"launched"_s);
        process.launchedDesktopId = u"removed"_s;
        QCOMPARE(matched({u"x"_s}, process), u"grouped"_s);
        process.controlGroupDesktopIds.clear();
        QCOMPARE(matched({u"x"_s}, process), u"boxed"_s);
        process.flatpakId.clear();
        QCOMPARE(matched({u"x"_s}, process), u"run"_s);
    }

    void theProgramAsCalledCountsWhereTheExecutableTellsNothing()
    {
        add("run", "Exec=/usr/bin/wrapper %U");
        QCOMPARE(matched({u"x"_s}, running(u"prog-bin"_s, u"wrapper"_s)), u"run"_s);
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
        QCOMPARE(matched({u"x"_s}, running(program, program)), u"x"_s);
    }

    void aProgramComesBeforeTheLastComponent()
    {
        add("org.x.Web");
        add("browser", "Exec=web-bin");
        QCOMPARE(matched({u"web"_s}, running(u"web-bin"_s, QString())), u"browser"_s);
        QCOMPARE(matched({u"web"_s}), u"org.x.Web"_s);
    }

    void theNameIsTheEntrys()
    {
        add("a", "Name=The Editor");
        QCOMPARE(match({u"a"_s}).name, std::optional(u"The Editor"_s));
    }

    void anEntryWithoutNameGoesByItsId()
    {
        add("a");
        QCOMPARE(match({u"A"_s}).name, std::optional(u"a"_s));
    }

    void withoutEntryTheFirstIdentifierStandsIn()
    {
        const ApplicationIdentity expected{.identifier = u"org.x.Tool"_s, .name = u"org.x.Tool"_s};
        QVERIFY(match({u""_s, u"org.x.Tool"_s, u"Tool"_s}, named(u"python3"_s)) == expected);
    }

    void thisProgramGoesByItsDisplayNameWithoutADesktopFile_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("executable");
        QTest::newRow("Wayland") << u"com.velomira.UsageMonitor"_s << u""_s;
        QTest::newRow("X11") << u"Quillstep"_s << u""_s;
        QTest::newRow("XWayland, lower case") << u"quillstep"_s << u""_s;
        QTest::newRow("a desktop file's name") << u"com.velomira.UsageMonitor.desktop"_s << u""_s;
        QTest::newRow("the process only") << u""_s << u"Quillstep"_s;
        QTest::newRow("a name of the toolkit's") << u"Velomira"_s << u"Quillstep"_s;
    }

    void thisProgramGoesByItsDisplayNameWithoutADesktopFile()
    {
        QFETCH(const QString, identifier);
        QFETCH(const QString, executable);
        const ApplicationIdentity expected{.identifier = u"com.velomira.UsageMonitor"_s,
                                           .name = u"Velomira Usage Monitor"_s};
        QVERIFY(match({identifier}, running(executable, executable)) == expected);
        add("com.velomira.UsageMonitor", "Name=Velomira Usage Monitor\nStartupWMClass=Quillstep");
        QVERIFY(match({identifier}, running(executable, executable)) == expected);
    }

    void programsWithSimilarNamesAreOthers()
    {
        QCOMPARE(match({u"Quillsteps"_s}).name, std::optional(u"Quillsteps"_s));
        QCOMPARE(match({}, named(u"Quillstep"_s)).name, std::optional(u"Quillstep"_s));
    }

    void torBrowserIsNotTheFirefoxWhoseExecutableItRuns()
    {
        add("firefox", "Exec=/usr/lib/firefox/firefox %u");
        const ProcessFacts process = running(u"firefox"_s, u"firefox"_s);
        QCOMPARE(matched({u"Navigator"_s}, process), u"firefox"_s);
        QCOMPARE(matched({u"Tor Browser"_s, u"Navigator"_s}, process), u"Tor Browser"_s);
        add("torbrowser", "StartupWMClass=Tor Browser");
        QCOMPARE(matched({u"Tor Browser"_s, u"Navigator"_s}, process), u"torbrowser"_s);
    }

    void withoutIdentifierTheProcessNameStandsIn()
    {
        const ApplicationIdentity expected{.identifier = std::nullopt, .name = u"tool"_s};
        QVERIFY(match({}, named(u"tool"_s)) == expected);
        QVERIFY(match({}) == ApplicationIdentity());
    }

private:
    void add(const char* id, const QByteArray& lines = {})
    {
        QVERIFY(m_files->add(QString::fromLatin1(id) + u".desktop"_s, lines));
    }

    ApplicationIdentity match(const QStringList& identifiers,
                              const ProcessFacts& process = {}) const
    {
        return matchApplication(identifiers, process, DesktopEntryIndex({m_files->folder()}));
    }

    QString matched(const QStringList& identifiers, const ProcessFacts& process = {}) const
    {
        return match(identifiers, process).identifier.value_or(u"(none)"_s);
    }

    std::unique_ptr<DesktopFiles> m_files;
};

QUILLSTEP_TEST(TestApplicationMatcher)
#include "tst_application_matcher.moc"
