// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/extension_state.h"
#include "backends/desktops/gnome/gnome_front_window.h"
#include "tests/support/headless_gnome.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/support/wake_ups.h"
#include "tests/support/written_file.h"
#include "tests/system/program_bus.h"
#include "tests/system/verify_outcome.h"

#include <QDBusPendingCall>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <chrono>
#include <ctime>
#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::desktop::Presence;
using platform::gnome::adviceFor;
using platform::gnome::ExtensionState;
using platform::gnome::GnomeFrontWindow;
using support::HeadlessGnome;
using support::TestWindow;

namespace {

const QString kName = QStringLiteral("com.velomira.UsageMonitor.FrontWindow");
const QString kPath = QStringLiteral("/com/velomira/UsageMonitor/FrontWindow");

/// The processor time that this process has used, in milliseconds.
double processorTime()
{
    timespec used{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

QDBusMessage get(const QDBusConnection& bus, const QString& name)
{
    const QDBusPendingCall call = bus.asyncCall(
        QDBusMessage::createMethodCall(name, kPath, kName, QStringLiteral("Get")), 20000);
    static_cast<void>(QTest::qWaitFor([&] { return call.isFinished(); }, 21000));
    return call.reply();
}

/// An object that answers Get like the extension.
class Impostor final : public QDBusVirtualObject
{
public:
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        ++calls;
        return connection.send(message.createReply(
            {QVariant::fromValue(1ULL), QString(), QString(), u"Lie"_s, u"lie"_s, 1}));
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    int calls = 0;
};

} // namespace

class TestGnomeWindows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() << u"dbus-monitor"_s);
        QVERIFY(
            support::writeFile(m_session.dataHome() + u"/applications/org.example.Clock.desktop"_s,
                               "[Desktop Entry]\nType=Application\nName=Clock\n"
                               "Name[de]=Uhr\nExec=/bin/true\n"));
        VERIFY_OUTCOME(m_session.start());
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_bus = std::make_unique<ProgramBus>(m_session.busAddress());
        QVERIFY(m_bus->ownsName());
        m_source = std::make_unique<GnomeFrontWindow>(m_bus->connection());
        QTRY_COMPARE(m_source->presence(), Presence::Here);
    }

    void cleanup()
    {
        m_source.reset();
        m_bus.reset();
    }

    void twentyChangesOfFocusAndTitleAreSeenExactly()
    {
        TestWindow qt;
        TestWindow gtk(TestWindow::Toolkit::Gtk);
        VERIFY_OUTCOME(qt.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(gtk.open(m_session.environment(), u"two"_s, u"Second"_s));
        // A new window takes the focus by itself; that must be over.
        VERIFY_OUTCOME(m_session.focus(gtk));
        qint64 slowest = 0;
        for (int i = 0; i < 20; ++i) {
            TestWindow& window = i % 2 == 0 ? qt : gtk;
            VERIFY_OUTCOME(m_session.focus(window));
            QElapsedTimer clock;
            clock.start();
            QTRY_COMPARE(identifiers(), QStringList(window.identifier()));
            slowest = qMax(slowest, clock.elapsed());
            QCOMPARE(m_source->frontWindow()->processIdentifier, window.pid());
            QCOMPARE(m_source->frontWindow()->name, std::optional<QString>());
            const QString text = u"Title %1 of %2"_s.arg(i).arg(window.identifier());
            VERIFY_OUTCOME(window.setTitle(text));
            QTRY_COMPARE(title(), text);
            QCOMPARE(identifiers(), QStringList(window.identifier()));
        }
        qInfo("a change of focus is seen within %lld ms", slowest);
    }

    void anInstalledApplicationHasItsIdAndItsNameInTheUsersLanguage()
    {
        TestWindow window(TestWindow::Toolkit::Gtk);
        VERIFY_OUTCOME(window.open(m_session.environment(), u"org.example.Clock"_s, u"12:00"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(identifiers(), QStringList(u"org.example.Clock"_s));
        QTRY_COMPARE(m_source->frontWindow().value_or(FrontWindow()).name, std::optional(u"Uhr"_s));
        QCOMPARE(title(), u"12:00"_s);
    }

    void anEmptyWorkspaceHasNoFrontWindow()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"First"_s);
        VERIFY_OUTCOME(m_session.showEmptyWorkspace());
        QTRY_VERIFY(!m_source->frontWindow());
        QCOMPARE(m_source->presence(), Presence::Here);
        VERIFY_OUTCOME(m_session.showFirstWorkspace());
        QTRY_COMPARE(title(), u"First"_s);
    }

    void theExtensionMayBeSwitchedOffAndOn()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"First"_s);
        const auto before = m_source->frontWindow();
        QCOMPARE(m_source->advice(), QString());

        VERIFY_OUTCOME(m_session.setExtensionEnabled(false));
        QTRY_COMPARE(m_source->presence(), Presence::Absent);
        QVERIFY(!m_source->frontWindow());
        QTRY_COMPARE(m_source->advice(), adviceFor(ExtensionState::SwitchedOff));
        const QDBusMessage refusal = get(m_bus->connection(), u"org.gnome.Shell"_s);
        QCOMPARE(refusal.errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);

        VERIFY_OUTCOME(m_session.setExtensionEnabled(true));
        QTRY_COMPARE(m_source->presence(), Presence::Here);
        QTRY_COMPARE(m_source->frontWindow(), before);
        QCOMPARE(m_source->advice(), QString());
    }

    void whenAllExtensionsAreOffTheAdviceSaysSo()
    {
        const auto setAll = [this](bool on) {
            const auto done = m_session.evaluate(
                u"global.settings.set_boolean('disable-user-extensions', %1)"_s.arg(
                    on ? u"false"_s : u"true"_s));
            QVERIFY(done);
        };
        setAll(false);
        QTRY_COMPARE(m_source->advice(), adviceFor(ExtensionState::AllOff));
        setAll(true);
        QTRY_COMPARE(m_source->presence(), Presence::Here);
    }

    void nobodyElseIsAnswered()
    {
        ProgramBus other(m_session.busAddress(), u"other"_s, QString());
        const QString refused = u"org.freedesktop.DBus.Error.AccessDenied"_s;
        QCOMPARE(get(other.connection(), kName).errorName(), refused);
        QCOMPARE(get(m_bus->connection(), kName).type(), QDBusMessage::ReplyMessage);
        m_source.reset();
        m_bus.reset();
        QTRY_COMPARE(get(other.connection(), kName).errorName(), refused);
    }

    void theSourceBeginsWhenTheProgramGetsItsName()
    {
        m_source.reset();
        QVERIFY(m_bus->connection().unregisterService(platform::dbus::applicationName()));
        m_source = std::make_unique<GnomeFrontWindow>(m_bus->connection());
        // The extension works, but tells this connection nothing yet.
        QTRY_COMPARE(m_source->presence(), Presence::Here);
        QCOMPARE(m_source->advice(), QString());
        QVERIFY(!m_source->frontWindow());
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QVERIFY(!m_source->frontWindow());
        QVERIFY(m_bus->connection().registerService(platform::dbus::applicationName()));
        QTRY_COMPARE(title(), u"First"_s);
    }

    void whoeverElseTakesTheNameOfTheExtensionIsNotBelieved()
    {
        VERIFY_OUTCOME(m_session.setExtensionEnabled(false));
        QTRY_COMPARE(m_source->presence(), Presence::Absent);
        ProgramBus other(m_session.busAddress(), u"other"_s, kName);
        QVERIFY(other.ownsName());
        Impostor impostor;
        QVERIFY(other.connection().registerVirtualObject(kPath, &impostor));
        // It can answer, and its announcement arrives before the answer.
        QVERIFY(other.connection().send(QDBusMessage::createTargetedSignal(
            m_bus->connection().baseService(), kPath, kName, u"Changed"_s)));
        QCOMPARE(get(m_bus->connection(), kName).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(impostor.calls, 1);
        GnomeFrontWindow another(m_bus->connection());
        QTRY_COMPARE(another.presence(), Presence::Absent);
        QCOMPARE(m_source->presence(), Presence::Absent);
        QVERIFY(!m_source->frontWindow());
        QCOMPARE(impostor.calls, 1);

        VERIFY_OUTCOME(m_session.setExtensionEnabled(true));
        QVERIFY(other.connection().unregisterService(kName));
        QTRY_COMPARE(m_source->presence(), Presence::Here);
    }

    void aFloodOfTitlesCostsLittle()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"First"_s);
        support::ChildProcess monitor;
        VERIFY_OUTCOME(monitor.start(u"dbus-monitor"_s,
                                     {u"--profile"_s, u"interface='%1'"_s.arg(kName)},
                                     m_session.environment()));
        qsizetype messages = 0;
        const auto count = [&] {
            messages += monitor.process().readAllStandardOutput().count(kName.toLatin1());
            return messages;
        };
        int first = 0;
        const auto isHeard = [&] {
            return count() > 0 || !window.setTitle(u"Second %1"_s.arg(++first));
        };
        QTRY_VERIFY(isHeard());
        static_cast<void>(count());
        messages = 0;

        const double before = processorTime();
        QElapsedTimer flood;
        flood.start();
        VERIFY_OUTCOME(window.changeTitles(u"Flood"_s, 10000, std::chrono::seconds(10)));
        QTRY_COMPARE_WITH_TIMEOUT(title(), u"Flood 10000"_s, 20000);
        const qint64 lasted = flood.elapsed();
        const double used = processorTime() - before;
        static_cast<void>(count());
        qInfo("10,000 titles: %lld messages, %.0f ms of processor time",
              static_cast<long long>(messages),
              used);
        QVERIFY(messages > 10);
        QVERIFY(messages < lasted / 250 * 3 + 30); // four questions a second at most, and answers
    }

    void titlesInTheBackgroundWakeNobody()
    {
        TestWindow background;
        TestWindow window;
        VERIFY_OUTCOME(background.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(window.open(m_session.environment(), u"two"_s, u"Second"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"Second"_s);
        const long before = support::wakeUps();
        VERIFY_OUTCOME(background.changeTitles(u"Spinner"_s, 100, std::chrono::seconds(10)));
        const long times = support::wakeUps() - before;
        qInfo("woken %ld times by 100 titles in 10 s", times);
        QVERIFY(times <= 15); // by what else there is
    }

    void aFloodOfTitlesInFrontHardlyWakesUs()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"First"_s);
        const long before = support::wakeUps();
        VERIFY_OUTCOME(window.changeTitles(u"Title"_s, 2000, std::chrono::seconds(10)));
        const long times = support::wakeUps() - before;
        qInfo("woken %ld times by 2000 titles in 10 s", times);
        QVERIFY(times <= 150); // by the news, by the pause that ends and by the answer
        QTRY_COMPARE(title(), u"Title 2000"_s);
    }

    void aHangingShellIsForgottenAndFoundAgain()
    {
        m_session.pauseShell();
        m_source = std::make_unique<GnomeFrontWindow>(m_bus->connection());
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Absent, 15000);
        QVERIFY(!m_source->frontWindow());
        m_session.resumeShell();
        QTRY_COMPARE_WITH_TIMEOUT(m_source->presence(), Presence::Here, 15000);
    }

    void afterACrashOfTheShellTheNextOneIsBelieved()
    {
        TestWindow window;
        VERIFY_OUTCOME(window.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(window));
        QTRY_COMPARE(title(), u"First"_s);
        const auto before = m_source->frontWindow();
        m_session.killDisplay();
        QTRY_COMPARE(m_source->presence(), Presence::Absent);
        QVERIFY(!m_source->frontWindow());
        QCOMPARE(m_source->advice(), QString());

        VERIFY_OUTCOME(m_session.startShell());
        QTRY_COMPARE(m_source->presence(), Presence::Here);
        TestWindow next;
        VERIFY_OUTCOME(next.open(m_session.environment(), u"one"_s, u"First"_s));
        VERIFY_OUTCOME(m_session.focus(next));
        QTRY_COMPARE(title(), u"First"_s);
        QVERIFY(m_source->frontWindow()->window != before->window);
    }

private:
    [[nodiscard]] QStringList identifiers() const
    {
        return m_source->frontWindow().value_or(FrontWindow()).identifiers;
    }

    [[nodiscard]] QString title() const
    {
        return m_source->frontWindow().value_or(FrontWindow()).title.value_or(u"(none)"_s);
    }

    HeadlessGnome m_session{HeadlessGnome::Extension::On, QStringLiteral("de")};
    std::unique_ptr<ProgramBus> m_bus;
    std::unique_ptr<GnomeFrontWindow> m_source;
};

QUILLSTEP_TEST(TestGnomeWindows)
#include "tst_gnome_windows.moc"
