// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/extension_state.h"
#include "backends/desktops/gnome/gnome_front_window.h"
#include "tests/support/headless_gnome.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/written_file.h"
#include "tests/system/program_bus.h"
#include "tests/system/verify_outcome.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using platform::desktop::Presence;
using platform::gnome::adviceFor;
using platform::gnome::ExtensionState;
using platform::gnome::GnomeFrontWindow;
using support::HeadlessGnome;

namespace {

const QByteArray kMetadata =
    R"({"uuid": "usage-monitor@velomira.com", "name": "x", "description": "x", "version": 1,
        "shell-version": [%1]})";

} // namespace

/// What the user is told where the extension does not work, in a shell for each case.
class TestGnomeAdvice final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessGnome().programs());
        m_dataHome = qgetenv("XDG_DATA_HOME");
    }

    void init()
    { // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
    }

    void cleanup() { qputenv("XDG_DATA_HOME", m_dataHome); }

    void itIsInstalledFirstAndLoadedAtTheNextStart()
    {
        HeadlessGnome session(HeadlessGnome::Extension::Missing);
        VERIFY_OUTCOME(session.start());
        // The folders of the session are those of the program.
        qputenv("XDG_DATA_HOME", session.dataHome().toUtf8());
        ProgramBus bus(session.busAddress());
        {
            const GnomeFrontWindow source(bus.connection());
            QTRY_COMPARE(source.advice(), adviceFor(ExtensionState::NotInstalled));
            QCOMPARE(source.presence(), Presence::Absent);
            QVERIFY(!source.frontWindow());
        }
        VERIFY_OUTCOME(session.installExtension());
        const GnomeFrontWindow source(bus.connection());
        QTRY_COMPARE(source.advice(), adviceFor(ExtensionState::NotLoaded));

        session.killDisplay();
        QTRY_COMPARE(source.advice(), QString());
        VERIFY_OUTCOME(session.startShell());
        QTRY_COMPARE(source.presence(), Presence::Here);
        QCOMPARE(source.advice(), QString());
    }

    void itIsInstalledAndNeverSwitchedOn()
    {
        HeadlessGnome session(HeadlessGnome::Extension::Off);
        VERIFY_OUTCOME(session.start());
        ProgramBus bus(session.busAddress());
        const GnomeFrontWindow source(bus.connection());
        QTRY_COMPARE(source.advice(), adviceFor(ExtensionState::SwitchedOff));
        VERIFY_OUTCOME(session.setExtensionEnabled(true));
        QTRY_COMPARE(source.presence(), Presence::Here);
        QCOMPARE(source.advice(), QString());
    }

    void itDoesNotWork_data()
    {
        QTest::addColumn<QByteArray>("versions");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<ExtensionState>("state");
        QTest::newRow("for another shell")
            << QByteArray(R"("3.38")") << QByteArray("function init() {}")
            << ExtensionState::Outdated;
        // For any shell: both styles fail at the same word.
        QTest::newRow("with an error")
            << QByteArray(R"("43", "44", "45", "46", "47", "48")")
            << QByteArray("throw new Error('for the test');") << ExtensionState::Failed;
    }

    void itDoesNotWork()
    {
        QFETCH(QByteArray, versions);
        QFETCH(QByteArray, script);
        QFETCH(ExtensionState, state);
        HeadlessGnome session(HeadlessGnome::Extension::Missing);
        const QString folder = session.extensionFolder();
        QVERIFY(support::writeFile(folder + u"/metadata.json"_s,
                                   QByteArray(kMetadata).replace("%1", versions)));
        QVERIFY(support::writeFile(folder + u"/extension.js"_s, script));
        VERIFY_OUTCOME(session.start());
        ProgramBus bus(session.busAddress());
        const GnomeFrontWindow source(bus.connection());
        QTRY_COMPARE(source.advice(), adviceFor(state));
        QCOMPARE(source.presence(), Presence::Absent);
    }

    void anotherDesktopHasNoAdvice()
    {
        const QTemporaryDir folder;
        support::BusDaemon daemon;
        VERIFY_OUTCOME(
            daemon.start(folder.filePath(u"bus"_s), QProcessEnvironment::systemEnvironment()));
        ProgramBus bus(daemon.address());
        const GnomeFrontWindow source(bus.connection());
        QTRY_COMPARE(source.presence(), Presence::Absent);
        QCOMPARE(source.advice(), QString());
    }

    void withoutABusThereIsNothing()
    {
        const GnomeFrontWindow source{QDBusConnection(u"nowhere"_s)};
        QCOMPARE(source.presence(), Presence::Absent);
        QVERIFY(!source.frontWindow());
        QCOMPARE(source.advice(), QString());
    }

private:
    QByteArray m_dataHome;
};

QUILLSTEP_TEST(TestGnomeAdvice)
#include "tst_gnome_advice.moc"
