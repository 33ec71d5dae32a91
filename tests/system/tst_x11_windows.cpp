// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/xdg/base_directories.h"
#include "tests/support/desktop_files.h"
#include "tests/support/headless_x11.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/x11_observer.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSysInfo>
#include <QTest>

#include <chrono>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;
using platform::Application;
using support::HeadlessX11;
using support::X11TestWindow;

class TestX11Windows final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(HeadlessX11::programs() << u"xterm"_s);
        qputenv("LANGUAGE", "de");
        const auto started = m_desktop.start();
        QVERIFY2(started, started ? "" : qPrintable(started.error().text));
        QVERIFY(m_files.add(u"org.example.Editor.desktop"_s,
                            "Name=Editor\nName[de]=Schreiber\nStartupWMClass=Editor"));
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        m_observer = X11Observer::on(m_desktop.display(), {m_files.folder()});
        QVERIFY(m_observer);
    }

    void aWindowIsNamedByItsDesktopFile()
    {
        X11TestWindow window(m_desktop.display());
        window.setClass("editor", "Editor");
        window.setTitle(u"Notes"_s);
        window.setPid(static_cast<std::uint32_t>(::getpid()));
        window.setClientMachine(QSysInfo::machineHostName().toUtf8());
        QVERIFY(window.showAndFocus());
        const Application expected{.localizedName = u"Schreiber"_s,
                                   .bundleIdentifier = u"org.example.Editor"_s,
                                   .processIdentifier = ::getpid(),
                                   .window = window.id()};
        QVERIFY(m_observer->front() == expected);
        QCOMPARE(m_observer->frontTitle(), std::optional(u"Notes"_s));
    }

    void aWindowWithoutDesktopFileIsNamedByItsClass()
    {
        X11TestWindow window(m_desktop.display());
        window.setClass("one-off", "One Off Tool");
        QVERIFY(window.showAndFocus());
        const Application expected{.localizedName = u"One Off Tool"_s,
                                   .bundleIdentifier = u"One Off Tool"_s,
                                   .processIdentifier = 0,
                                   .window = window.id()};
        QVERIFY(m_observer->front() == expected);
    }

    void theApplicationIdOfGtkComesBeforeTheClass()
    {
        X11TestWindow window(m_desktop.display());
        window.setClass("python3", "Python3");
        window.setBytes("_GTK_APPLICATION_ID", "UTF8_STRING", "org.example.Editor");
        QVERIFY(window.showAndFocus());
        QCOMPARE(frontIdentifier(), u"org.example.Editor"_s);
    }

    void aWindowThatTellsNothingIsStillInFront()
    {
        X11TestWindow window(m_desktop.display());
        QVERIFY(window.showAndFocus());
        const Application expected{.localizedName = std::nullopt,
                                   .bundleIdentifier = std::nullopt,
                                   .processIdentifier = 0,
                                   .window = window.id()};
        QVERIFY(m_observer->front() == expected);
        QCOMPARE(m_observer->frontTitle(), std::nullopt);
    }

    void theProcessOfAnotherMachineIsUnknown()
    {
        X11TestWindow window(m_desktop.display());
        window.setPid(4711);
        window.setClientMachine("another-host.example.org");
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->front().value_or(Application{}).processIdentifier, 0);
        window.setClientMachine(QSysInfo::machineHostName().toUtf8());
        QCOMPARE(m_observer->front().value_or(Application{}).processIdentifier, 4711);
        window.setPid(0xFFFFFFFFU);
        QCOMPARE(m_observer->front().value_or(Application{}).processIdentifier, 0);
    }

    void xtermTakesAndGivesTheFocusWithAllItsFacts()
    {
        m_observer = X11Observer::on(m_desktop.display(),
                                     platform::xdg::desktopEntryFolders(m_desktop.environment()));
        QVERIFY(m_observer);
        X11TestWindow window(m_desktop.display());
        window.setClass("tool", "Tool");
        window.setTitle(u"Mine"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(frontIdentifier(), u"Tool"_s);

        const auto xterm =
            m_desktop.startProgram(u"xterm"_s, {u"-T"_s, u"Terminal work"_s, u"-e"_s, u"cat"_s});
        QVERIFY2(xterm, xterm ? "" : qPrintable(xterm.error().text));
        QTRY_COMPARE(frontIdentifier(), u"debian-xterm"_s);
        const auto application = m_observer->front();
        QVERIFY(application);
        QCOMPARE(application->localizedName, std::optional(u"XTerm"_s));
        QCOMPARE(application->processIdentifier, static_cast<std::int32_t>(xterm.value()->pid()));
        QCOMPARE(m_observer->windows.focusedWindowTitle(*application),
                 std::optional(u"Terminal work"_s));

        QVERIFY(window.focus());
        QCOMPARE(frontIdentifier(), u"Tool"_s);
        QCOMPARE(m_observer->frontTitle(), std::optional(u"Mine"_s));
        m_desktop.stopProgram(xterm.value());
        QCOMPARE(frontIdentifier(), u"Tool"_s);
    }

    void titlesFollowTheirType_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("title");
        const QByteArray net("_NET_WM_NAME");
        const QByteArray old("WM_NAME");
        QTest::newRow("UTF-8") << net << QByteArray("UTF8_STRING")
                               << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                             "e \xf0\x9f\x98\x80")
                               << u"Grüße 😀"_s;
        QTest::newRow("bad UTF-8") << net << QByteArray("UTF8_STRING")
                                   << QByteArray("a\xff"
                                                 "b")
                                   << u"a\uFFFDb"_s;
        QTest::newRow("empty") << net << QByteArray("UTF8_STRING") << QByteArray("") << u""_s;
        QTest::newRow("Latin-1") << old << QByteArray("STRING")
                                 << QByteArray("Gr\xfc\xdf"
                                               "e")
                                 << u"Grüße"_s;
        QTest::newRow("UTF-8 in the old property") << old << QByteArray("UTF8_STRING")
                                                   << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                                                 "e")
                                                   << u"Grüße"_s;
        QTest::newRow("compound text")
            << old << QByteArray("COMPOUND_TEXT") << QByteArray("\x1b$(B\x46\x7c\x4b\x5c\x1b(B ok")
            << u"日本 ok"_s;
        QTest::newRow("another type") << old << QByteArray("MY_TEXT")
                                      << QByteArray("Gr\xc3\xbc\xc3\x9f"
                                                    "e")
                                      << u"Grüße"_s;
        // 16 KiB end in the middle of a character.
        QTest::newRow("100 KB") << net << QByteArray("UTF8_STRING")
                                << "a" + QByteArray("\xc3\xbc").repeated(50'000)
                                << u"a"_s + QString(8191, u'ü');
    }

    void titlesFollowTheirType()
    {
        QFETCH(const QByteArray, property);
        QFETCH(const QByteArray, type);
        QFETCH(const QByteArray, bytes);
        QFETCH(const QString, title);
        X11TestWindow window(m_desktop.display());
        window.setBytes(property, type, bytes);
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->frontTitle(), std::optional(title));
    }

    void theNewTitlePropertyCountsEvenWhenEmpty()
    {
        X11TestWindow window(m_desktop.display());
        window.setBytes("WM_NAME", "STRING", "old");
        window.setTitle(u"new"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->frontTitle(), std::optional(u"new"_s));
        window.setTitle(QString());
        QCOMPARE(m_observer->frontTitle(), std::optional(QString()));
        window.removeProperty("_NET_WM_NAME");
        QCOMPARE(m_observer->frontTitle(), std::optional(u"old"_s));
        window.removeProperty("WM_NAME");
        QCOMPARE(m_observer->frontTitle(), std::nullopt);
    }

    void staleActiveWindowMeansNoApplication()
    {
        X11TestWindow window(m_desktop.display());
        QVERIFY(window.showAndFocus());
        QVERIFY(m_observer->front());
        window.destroy();
        // When the window manager has heard of that, it leaves the claim alone.
        QVERIFY(window.client().waitForWindowManager() && window.client().waitForWindowManager());
        window.claimToBeActive();
        QCOMPARE(window.client().activeWindow(), window.id());
        QVERIFY(!m_observer->front());
        QVERIFY(!m_observer->tick());
    }

    void aWindowThatHasBeenDestroyedHasNoTitle()
    {
        X11TestWindow window(m_desktop.display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->tick(), std::optional(u"Title"_s));
        const auto application = m_observer->front();
        QVERIFY(application);
        QVERIFY(m_observer->windows.focusedWindowTitle(*application));
        window.destroy();
        QVERIFY(!m_observer->front());
        QCOMPARE(m_observer->windows.focusedWindowTitle(*application), std::nullopt);
        QCOMPARE(m_observer->windows.focusedWindowTitle(Application{}), std::nullopt);
    }

    // While the focus moves, window managers say for a moment that nothing has it.
    void aMomentWithoutActiveWindowDoesNotCount()
    {
        X11TestWindow window(m_desktop.display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->tick(), std::optional(u"Title"_s));
        for (int i = 0; i < 20; ++i) {
            QElapsedTimer sinceThen;
            sinceThen.start();
            claimThatNothingIsActive(window.client());
            QCOMPARE(window.client().activeWindow(), xcb_window_t{XCB_WINDOW_NONE});
            QStringList seen;
            while (!sinceThen.hasExpired(20))
                seen += m_observer->tick().value_or(u"(none)"_s);
            const bool wasInTime = !sinceThen.hasExpired(90); // else the machine was too busy
            window.claimToBeActive();
            QVERIFY2(!wasInTime || seen.count(u"Title"_s) == seen.size(),
                     qPrintable(seen.join(u' ')));
            QCOMPARE(m_observer->tick(), std::optional(u"Title"_s));
        }
    }

    void withoutActiveWindowNothingIsInFrontAfterThatMoment()
    {
        X11TestWindow window(m_desktop.display());
        window.setTitle(u"Title"_s);
        QVERIFY(window.showAndFocus());
        QCOMPARE(m_observer->tick(), std::optional(u"Title"_s));
        claimThatNothingIsActive(window.client());
        QElapsedTimer sinceThen;
        sinceThen.start();
        QTRY_COMPARE(m_observer->tick(), std::nullopt);
        QVERIFY(sinceThen.elapsed() < 1000);
        QCOMPARE(m_observer->tick(), std::nullopt);
        window.claimToBeActive();
        QCOMPARE(m_observer->tick(), std::optional(u"Title"_s));
        // A tick that comes later sees none at once.
        claimThatNothingIsActive(window.client());
        support::letPass(std::chrono::milliseconds(150));
        QCOMPARE(m_observer->tick(), std::nullopt);
    }

    void aWindowThatIsDestroyedInThatMomentIsNotInFront()
    {
        X11TestWindow window(m_desktop.display());
        QVERIFY(window.showAndFocus());
        QVERIFY(m_observer->front());
        claimThatNothingIsActive(window.client());
        window.destroy();
        QVERIFY(!m_observer->front());
    }

    void aWithdrawnWindowIsNotInFront()
    {
        X11TestWindow window(m_desktop.display());
        QVERIFY(window.showAndFocus());
        QVERIFY(m_observer->front());
        window.hide();
        QTRY_VERIFY(!m_observer->front());
        QVERIFY(window.client().waitForWindowManager() && window.client().waitForWindowManager());
        window.claimToBeActive();
        QVERIFY(!m_observer->front());
    }

    void anUnmanagedWindowIsNotInFront()
    {
        X11TestWindow window(m_desktop.display(), X11TestWindow::Managed::No);
        window.show();
        window.claimToBeActive();
        QCOMPARE(window.client().activeWindow(), window.id());
        QVERIFY(!m_observer->front());
    }

    void theDesktopItselfIsNotInFront()
    {
        X11TestWindow window(m_desktop.display());
        QVERIFY(window.showAndFocus());
        QVERIFY(m_observer->front());
        window.setWindowType("_NET_WM_WINDOW_TYPE_DESKTOP");
        QCOMPARE(window.client().activeWindow(), window.id());
        QVERIFY(!m_observer->front());
    }

    void withoutWindowManagerNothingIsInFrontUntilItIsBack()
    {
        X11TestWindow window(m_desktop.display());
        window.setClass("tool", "Tool");
        QVERIFY(window.showAndFocus());
        QCOMPARE(frontIdentifier(), u"Tool"_s);
        m_desktop.killWindowManager();
        QTRY_VERIFY(!m_observer->front()); // once the server has noticed
        window.claimToBeActive();
        QVERIFY(!m_observer->front());
        QVERIFY(m_desktop.startWindowManager());
        QVERIFY(window.focus());
        QCOMPARE(frontIdentifier(), u"Tool"_s);
    }

private:
    static void claimThatNothingIsActive(const support::X11Client& client)
    {
        constexpr xcb_window_t kNone = XCB_WINDOW_NONE;
        xcb_change_property(client.get(),
                            XCB_PROP_MODE_REPLACE,
                            client.root(),
                            client.atom("_NET_ACTIVE_WINDOW"),
                            XCB_ATOM_WINDOW,
                            32,
                            1,
                            &kNone);
        client.sync();
    }

    QString frontIdentifier()
    {
        const auto application = m_observer->front();
        return application ? application->bundleIdentifier.value_or(u"(no identifier)"_s)
                           : u"(none)"_s;
    }

    support::DesktopFiles m_files;
    HeadlessX11 m_desktop;
    std::unique_ptr<X11Observer> m_observer;
};

QUILLSTEP_TEST(TestX11Windows)
#include "tst_x11_windows.moc"
