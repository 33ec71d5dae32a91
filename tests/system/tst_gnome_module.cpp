// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/gnome_front_window.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/child_process.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/program_bus.h"
#include "tests/system/verify_outcome.h"

#include <QDBusPendingCall>
#include <QDir>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::desktop::Presence;
using platform::gnome::GnomeFrontWindow;

namespace {

const QString kName = QStringLiteral("com.velomira.UsageMonitor.FrontWindow");
const QString kPath = QStringLiteral("/com/velomira/UsageMonitor/FrontWindow");
constexpr int kPatienceMs = 20000;

/// Where the shell and its compositor keep what only they use; the latter's folder is named after
/// its version.
QString privateLibraries()
{
    QStringList folders(u"/usr/lib/gnome-shell"_s);
    const QDir libraries(u"/usr/lib"_s);
    for (const QString& architecture : libraries.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QDir inner(libraries.filePath(architecture));
        for (const QString& mutter : inner.entryList({u"mutter-*"_s}, QDir::Dirs))
            folders.append(inner.filePath(mutter));
    }
    return folders.join(u':');
}

} // namespace

/// The extension in its style for shells from 45 on, in JavaScript's real engine with real buses,
/// over a made-up shell.
class TestGnomeModule final : public QObject
{
    Q_OBJECT
public Q_SLOTS:

    void countAnnouncement() { ++m_announcements; }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList({u"gjs"_s, u"gnome-shell"_s, u"dbus-daemon"_s}));
        VERIFY_OUTCOME(m_home.create());
        QProcessEnvironment environment = m_home.environment();
        VERIFY_OUTCOME(m_daemon.start(m_home.filePath(u"bus"_s), environment));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_daemon.address());
        environment.insert(u"GI_TYPELIB_PATH"_s, privateLibraries());
        environment.insert(u"LD_LIBRARY_PATH"_s, privateLibraries());
        const QString stubs = QStringLiteral(GNOME_STUBS);
        VERIFY_OUTCOME(m_shell.start(u"gjs"_s,
                                     {u"-m"_s,
                                      stubs + u"/shell.js"_s,
                                      QStringLiteral(GNOME_STUB_RESOURCES),
                                      QStringLiteral(GNOME_EXTENSION_MODULE)},
                                     environment,
                                     m_home.logFile(u"gjs"_s)));
        QCOMPARE(answer(), u"ready"_s);
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_announcements = 0;
        m_bus = std::make_unique<ProgramBus>(m_daemon.address());
        QVERIFY(m_bus->ownsName());
        QVERIFY(m_bus->connection().connect(
            QString(), kPath, kName, u"Changed"_s, this, SLOT(countAnnouncement())));
        QCOMPARE(order(u"enable"_s), u"done"_s);
        QTRY_VERIFY(hasName());
    }

    void cleanup()
    {
        QCOMPARE(order(u"unfocus"_s), u"done"_s);
        QCOMPARE(order(u"disable"_s), u"done"_s);
        QTRY_VERIFY(!hasName());
        m_bus.reset();
    }

    void theProgramIsToldOfTheFocusedWindow()
    {
        QCOMPARE(get().arguments(), facts(0, {}, {}, {}, {}, 0));
        QCOMPARE(order(uR"(focus {"number": 7, "app": "org.example.Clock.desktop", "name": "Uhr",
                           "title": "12:00", "wmClass": "clock", "pid": 42})"_s.simplified()),
                 u"done"_s);
        QCOMPARE(get().arguments(),
                 facts(7, u"org.example.Clock.desktop"_s, u"Uhr"_s, u"12:00"_s, u"clock"_s, 42));
        QCOMPARE(order(u"unfocus"_s), u"done"_s);
        QCOMPARE(get().arguments(), facts(0, {}, {}, {}, {}, 0));
    }

    void anApplicationThatTheShellMadeUpIsNotTold()
    {
        QCOMPARE(order(uR"(focus {"number": 7, "app": "window:7", "name": "x", "wmClass": "y"})"_s),
                 u"done"_s);
        QCOMPARE(get().arguments(), facts(7, {}, {}, {}, u"y"_s, 0));
    }

    void whatIsNoWindowOfAnApplicationIsNotTold_data()
    {
        QTest::addColumn<QString>("fact");
        QTest::addColumn<bool>("isTold");
        for (const auto* const type : {"NORMAL", "DIALOG", "MODAL_DIALOG", "UTILITY"})
            QTest::newRow(type) << uR"("type": "%1")"_s.arg(QLatin1StringView(type)) << true;
        for (const auto* const type : {"DESKTOP",
                                       "DOCK",
                                       "MENU",
                                       "DROPDOWN_MENU",
                                       "POPUP_MENU",
                                       "TOOLTIP",
                                       "NOTIFICATION",
                                       "COMBO",
                                       "DND",
                                       "OVERRIDE_OTHER"})
            QTest::newRow(type) << uR"("type": "%1")"_s.arg(QLatin1StringView(type)) << false;
        QTest::newRow("override redirect") << uR"("isOverrideRedirect": true)"_s << false;
    }

    void whatIsNoWindowOfAnApplicationIsNotTold()
    {
        QFETCH(QString, fact);
        QFETCH(bool, isTold);
        QCOMPARE(order(uR"(focus {"number": 7, "wmClass": "y", %1})"_s.arg(fact)), u"done"_s);
        QCOMPARE(get().arguments(),
                 isTold ? facts(7, {}, {}, {}, u"y"_s, 0) : facts(0, {}, {}, {}, {}, 0));
    }

    void longTextsAreCutBetweenCharacters()
    {
        QCOMPARE(order(uR"(focus {"number": 7})"_s), u"done"_s);
        const QString most(16384, u'x');
        QCOMPARE(order(u"title "_s + most + u'x'), u"done"_s);
        QCOMPARE(get().arguments().value(3).toString(), most);
        const QString odd = most.chopped(1);
        QCOMPARE(order(u"title "_s + odd + u"😀"_s), u"done"_s);
        QCOMPARE(get().arguments().value(3).toString(), odd);
    }

    void nobodyElseIsAnswered()
    {
        ProgramBus other(m_daemon.address(), u"other"_s, QString());
        const QString refused = u"org.freedesktop.DBus.Error.AccessDenied"_s;
        QCOMPARE(get(other.connection()).errorName(), refused);
        QCOMPARE(get().type(), QDBusMessage::ReplyMessage);
        QVERIFY(m_bus->connection().unregisterService(platform::dbus::applicationName()));
        QTRY_COMPARE(get().errorName(), refused);
        QCOMPARE(get(other.connection()).errorName(), refused);
        QVERIFY(m_bus->connection().registerService(platform::dbus::applicationName()));
        QTRY_COMPARE(get().type(), QDBusMessage::ReplyMessage);
    }

    void changesAreAnnouncedOnceUntilSomebodyAsks()
    {
        ProgramBus other(m_daemon.address(), u"other"_s, QString());
        QVERIFY(other.connection().connect(
            QString(), kPath, kName, u"Changed"_s, this, SLOT(countAnnouncement())));
        QCOMPARE(get().type(), QDBusMessage::ReplyMessage);
        for (int round = 0; round < 3; ++round) {
            m_announcements = 0;
            QCOMPARE(order(uR"(focus {"number": 7})"_s), u"done"_s);
            for (int i = 0; i < 100; ++i)
                QCOMPARE(order(u"title %1"_s.arg(i)), u"done"_s);
            // What was sent before has arrived with these answers.
            QCOMPARE(get(other.connection()).type(), QDBusMessage::ErrorMessage);
            QCOMPARE(get().arguments().value(3).toString(), u"99"_s);
            QCOMPARE(m_announcements, 1);
        }
    }

    void theTitleOfAWindowThatLostTheFocusIsNotAnnounced()
    {
        QCOMPARE(order(uR"(focus {"number": 7})"_s), u"done"_s);
        const int withWindow = order(u"listeners"_s).toInt();
        QCOMPARE(order(uR"(focus {"number": 8})"_s), u"done"_s);
        QCOMPARE(order(u"listeners"_s).toInt(), withWindow);
        QCOMPARE(order(u"unfocus"_s), u"done"_s);
        QCOMPARE(order(u"listeners"_s), u"1"_s);
    }

    void nothingIsLeftBehind()
    {
        for (int round = 0; round < 3; ++round) {
            QCOMPARE(order(uR"(focus {"number": 7})"_s), u"done"_s);
            QCOMPARE(order(u"disable"_s), u"done"_s);
            QCOMPARE(order(u"listeners"_s), u"0"_s);
            QTRY_VERIFY(!hasName());
            QCOMPARE(get(m_bus->connection(), u"org.gnome.Shell"_s).errorName(),
                     u"org.freedesktop.DBus.Error.UnknownMethod"_s);
            QCOMPARE(order(u"enable"_s), u"done"_s);
            QTRY_VERIFY(hasName());
            QCOMPARE(get().arguments(), facts(7, {}, {}, {}, {}, 0));
        }
    }

    void theSourceUnderstandsIt()
    {
        const GnomeFrontWindow source(m_bus->connection());
        QTRY_COMPARE(source.presence(), Presence::Here);
        QVERIFY(!source.frontWindow());
        QCOMPARE(order(uR"(focus {"number": 7, "app": "org.example.Clock.desktop", "name": "Uhr",
                           "title": "Grüße 😀", "wmClass": "clock", "pid": 42})"_s.simplified()),
                 u"done"_s);
        QTRY_VERIFY(source.frontWindow());
        const FrontWindow window = *source.frontWindow();
        QCOMPARE(window.identifiers, QStringList({u"org.example.Clock"_s, u"clock"_s}));
        QCOMPARE(window.name, std::optional(u"Uhr"_s));
        QCOMPARE(window.title, std::optional(u"Grüße 😀"_s));
        QCOMPARE(window.processIdentifier, 42);
        QCOMPARE(order(u"disable"_s), u"done"_s);
        QTRY_COMPARE(source.presence(), Presence::Absent);
        QVERIFY(!source.frontWindow());
        QCOMPARE(order(u"enable"_s), u"done"_s);
        QTRY_COMPARE(source.frontWindow(), std::optional(window));
    }

private:
    /// The next line of the shell.
    [[nodiscard]] QString answer()
    {
        QProcess& process = m_shell.process();
        static_cast<void>(QTest::qWaitFor([&] { return process.canReadLine(); }, kPatienceMs));
        return QString::fromUtf8(process.readLine()).trimmed();
    }

    [[nodiscard]] QString order(const QString& text)
    {
        m_shell.process().write(text.toUtf8() + '\n');
        return answer();
    }

    [[nodiscard]] bool hasName()
    {
        return m_bus->connection().interface()->isServiceRegistered(kName).value();
    }

    [[nodiscard]] QDBusMessage get() const { return get(m_bus->connection()); }

    [[nodiscard]] static QDBusMessage get(const QDBusConnection& bus, const QString& name = kName)
    {
        const QDBusPendingCall call = bus.asyncCall(
            QDBusMessage::createMethodCall(name, kPath, kName, u"Get"_s), kPatienceMs);
        static_cast<void>(QTest::qWaitFor([&] { return call.isFinished(); }, kPatienceMs + 1000));
        return call.reply();
    }

    [[nodiscard]] static QVariantList facts(qulonglong number,
                                            const QString& id,
                                            const QString& name,
                                            const QString& title,
                                            const QString& windowClass,
                                            int pid)
    {
        const auto text = [](const QString& each) {
            return each.isNull() ? u""_s : each;
        };
        return {number, text(id), text(name), text(title), text(windowClass), pid};
    }

    support::PrivateHome m_home;
    support::BusDaemon m_daemon;
    support::ChildProcess m_shell;
    std::unique_ptr<ProgramBus> m_bus;
    int m_announcements = 0;
};

QUILLSTEP_TEST(TestGnomeModule)
#include "tst_gnome_module.moc"
