// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// An address on its whole way: from a page in a real browser over the extension, the native host
// and the executable to the data file, the dashboard and the service.
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/chromium.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/page_server.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/system/browser_desktop.h"
#include "tests/system/verify_outcome.h"
#include "tests/system/xdotool.h"

#include <QFile>
#include <QTest>

#include <algorithm>

namespace {

constexpr int kPatienceMs = 60000;
/// For a browser that tries rarely, because no program has answered for a while.
constexpr int kLongPatienceMs = 90000;
const QString kHost = QStringLiteral(BROWSER_HOST_EXECUTABLE);
const QString kDashboard = QStringLiteral("Dashboard");
const QString kEmail = QStringLiteral("ada@example.org");
const QString kPassword = QStringLiteral("correct horse");

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestBrowserJourney final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(support::SignedInDesktop::programs() +
                         support::AssistiveReader::programs() + support::Chromium::programs());
        // As such the native host has to recognise a program that lets nobody look inside.
        QVERIFY(support::lookAsAnOrdinaryUser());
        VERIFY_OUTCOME(
            m_service.start(database(), {QStringLiteral("--port"), QStringLiteral("8787")}));
        VERIFY_OUTCOME(m_service.addUser(kEmail, QStringLiteral("Ada Lovelace"), kPassword));
        VERIFY_OUTCOME(m_desktop.start(support::Account::SignedOut));
        VERIFY_OUTCOME(m_reader.start(m_desktop.environment()));
    }

    void anAddressArrivesEverywhereWithoutItsQuery()
    {
        support::Agent agent(support::AssistiveReader::programEnvironment(m_desktop.environment()));
        VERIFY_OUTCOME(agent.start());
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.focusedTitle(), QStringLiteral("Login"), kPatienceMs);
        for (const QString& text : {kEmail, kPassword}) {
            // A key that comes before the field has the keyboard is lost.
            const QString field =
                text == kEmail ? QStringLiteral("Email") : QStringLiteral("Password");
            QTRY_VERIFY_WITH_TIMEOUT(hasKeyboard(field), kPatienceMs);
            QVERIFY(xdotool(m_desktop.x11(), {QStringLiteral("type"), text}));
            QVERIFY(xdotool(m_desktop.x11(), {QStringLiteral("key"), QStringLiteral("Return")}));
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.focusedTitle(), kDashboard, kPatienceMs);

        const QString userData = m_desktop.x11().home() + QStringLiteral("/chromium-data");
        QVERIFY(BrowserDesktop::addHost(platform::browsers::Family::Chromium,
                                        userData + QStringLiteral("/NativeMessagingHosts"),
                                        kHost));
        support::Chromium browser;
        const QString page = m_pages.page(QStringLiteral("visited?secret=1"));
        VERIFY_OUTCOME(browser.start(
            m_desktop.environment(), userData, QStringLiteral(EXTENSION_FOLDER), page));
        QTRY_VERIFY2_WITH_TIMEOUT(hasTickWith(agent, page),
                                  qPrintable(agent.lines().join(u'\n') + agent.complaints()),
                                  kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(contentOf(agent.dataFile()).contains("visited?secret=1"),
                                 kPatienceMs);

        const QString host = page.section(u'/', 2, 2).section(u':', 0, 0);
        const auto showsHost = [this, &host] {
            return std::ranges::any_of(
                m_reader.elements(kDashboard), [&host](const support::AssistiveElement& element) {
                    return element.name.contains(host) && element.has(support::kStateShowing);
                });
        };
        QTRY_VERIFY_WITH_TIMEOUT(showsHost(), kPatienceMs);

        browser.stop(); // it may cover the dashboard
        const auto button = m_reader.find(kDashboard, QStringLiteral("Sync Now"));
        QVERIFY(button);
        const QPoint middle = m_reader.place(*button).center();
        QVERIFY(xdotool(m_desktop.x11(),
                        {QStringLiteral("mousemove"),
                         QString::number(middle.x()),
                         QString::number(middle.y()),
                         QStringLiteral("click"),
                         QStringLiteral("1")}));
        QTRY_VERIFY_WITH_TIMEOUT(
            agent.lines().join(u'\n').contains(QStringLiteral("Velomira Sync Success: ")),
            kPatienceMs);
        const QByteArray stored =
            contentOf(database()) + contentOf(database() + QStringLiteral("-wal"));
        QVERIFY(stored.contains("/visited"));
        QVERIFY(!stored.contains("secret=1"));
        QCOMPARE(agent.end(), std::optional(EXIT_SUCCESS));
    }

    void theNextRunOfTheProgramIsToldToo()
    {
        const QString userData = m_desktop.x11().home() + QStringLiteral("/chromium-data");
        QVERIFY(BrowserDesktop::addHost(platform::browsers::Family::Chromium,
                                        userData + QStringLiteral("/NativeMessagingHosts"),
                                        kHost));
        support::Chromium browser;
        const QString page = m_pages.page(QStringLiteral("again"));
        VERIFY_OUTCOME(browser.start(
            m_desktop.environment(), userData, QStringLiteral(EXTENSION_FOLDER), page));
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.focusedTitle().startsWith(QStringLiteral("again")),
                                 kPatienceMs);
        QVERIFY(waitUntilNoneRuns(kHost, kPatienceMs));
        for (int run = 0; run < 2; ++run) {
            support::Agent agent(
                support::AssistiveReader::programEnvironment(m_desktop.environment()));
            VERIFY_OUTCOME(agent.start());
            QTRY_COMPARE_WITH_TIMEOUT(m_desktop.focusedTitle(), kDashboard, kPatienceMs);
            QVERIFY(xdotool(m_desktop.x11(), {QStringLiteral("key"), QStringLiteral("alt+F4")}));
            QTRY_VERIFY2_WITH_TIMEOUT(hasTickWith(agent, page),
                                      qPrintable(agent.lines().join(u'\n') + agent.complaints()),
                                      kLongPatienceMs);
            QCOMPARE(processesOf(kHost).size(), 1);
            QCOMPARE(agent.end(), std::optional(EXIT_SUCCESS));
            QVERIFY(waitUntilNoneRuns(kHost, kPatienceMs));
        }
    }

private:
    [[nodiscard]] static bool hasTickWith(support::Agent& agent, const QString& address)
    {
        return std::ranges::any_of(agent.lines(), [&address](const QString& line) {
            return line.startsWith(QLatin1StringView("Tick: ")) &&
                   line.endsWith(QLatin1StringView(" | ") + address);
        });
    }

    /// Whether what is typed goes into the field `name` of the login window.
    [[nodiscard]] bool hasKeyboard(const QString& name) const
    {
        const auto field = m_reader.find(QStringLiteral("Login"), name);
        return field && field->has(support::kStateFocused);
    }

    [[nodiscard]] QString database() const
    {
        return m_service.folder() + QStringLiteral("/service.sqlite");
    }

    support::ServiceProcess m_service;
    support::PageServer m_pages;
    support::SignedInDesktop m_desktop;
    support::AssistiveReader m_reader;
};

QUILLSTEP_TEST(TestBrowserJourney)
#include "tst_browser_journey.moc"
