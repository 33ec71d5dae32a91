// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable's windows driven by a screen reader alone: each action that a control offers does
// what a click would do, and not only to the picture.
#include "tests/support/activity_samples.h"
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/system/xdotool.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace Qt::StringLiterals;
using support::Account;
using support::Agent;
using support::AssistiveElement;
using support::AssistiveReader;
using support::SignedInDesktop;

namespace {

constexpr int kPatienceMs = 20000;
// Of AtspiRole.
constexpr std::uint32_t kRoleAlert = 2;
constexpr std::uint32_t kRoleLabel = 29;
const QString kDashboard = QStringLiteral("Dashboard");
const QString kLogin = QStringLiteral("Login");
const QString kSettings = QStringLiteral("Settings");
const QString kPress = QStringLiteral("Press");
const QString kToggle = QStringLiteral("Toggle");
const QString kSetFocus = QStringLiteral("SetFocus");
const QString kOldApp = QStringLiteral("App of another year");
const QString kSwitch = QStringLiteral("Launch at Login");
const QString kInterval = QStringLiteral("Sync Interval");

} // namespace

class TestAssistiveActions final : public QObject
{
    Q_OBJECT

    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<AssistiveReader> m_reader;
    std::unique_ptr<Agent> m_agent;
    /// "Window: Control: Action" of what a test has done.
    QSet<QString> m_done;

    void launch(Account account, const QString& first)
    {
        m_desktop = std::make_unique<SignedInDesktop>();
        verify(m_desktop->start(account));
        m_reader = std::make_unique<AssistiveReader>();
        verify(m_reader->start(m_desktop->environment()));
        QProcessEnvironment environment =
            AssistiveReader::programEnvironment(m_desktop->environment());
        catchAddresses(environment);
        m_agent = std::make_unique<Agent>(environment);
        // From long ago, so that it shows under "All Time" only.
        QFile file(m_agent->dataFile());
        QVERIFY(QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly));
        activity::ActivityList old;
        old.append(samples::log(kOldApp.toStdString()));
        file.write(samples::json(old));
        file.close();
        verify(m_agent->start());
        waitFor(first);
    }

    /// Has the desktop's opener only note what it is to open.
    void catchAddresses(QProcessEnvironment& environment)
    {
        const QString folder = environment.value(QStringLiteral("HOME"));
        QFile opener(folder + QStringLiteral("/xdg-open"));
        QVERIFY(opener.open(QIODevice::WriteOnly));
        opener.write("#!/bin/sh\necho \"$1\" >>'" + openedFile().toUtf8() + "'\n");
        opener.close();
        QVERIFY(opener.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        environment.insert(QStringLiteral("PATH"),
                           folder + u':' + environment.value(QStringLiteral("PATH")));
    }

    [[nodiscard]] QString openedFile() const
    {
        return m_desktop->environment().value(QStringLiteral("HOME")) + QStringLiteral("/opened");
    }

    [[nodiscard]] QString configFile(const char* name) const
    {
        return m_desktop->environment().value(QStringLiteral("XDG_CONFIG_HOME")) + u'/' +
               QLatin1StringView(name);
    }

    static void verify(const platform::Outcome& outcome)
    {
        QVERIFY2(bool(outcome), outcome ? "" : qPrintable(outcome.error().text));
    }

    void waitFor(const QString& window)
    {
        if (QTest::currentTestFailed())
            return;
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), window, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!m_reader->elements(window).empty(), kPatienceMs);
    }

    /// What is to be seen under this name and offers `action`.
    [[nodiscard]] std::optional<AssistiveElement>
    control(const QString& window, const QString& name, const QString& action) const
    {
        for (const AssistiveElement& element : m_reader->elements(window)) {
            if (element.name == name && element.has(support::kStateShowing) &&
                m_reader->actions(element).contains(action))
                return element;
        }
        return std::nullopt;
    }

    void perform(const QString& window, const QString& name, const QString& action)
    {
        if (QTest::currentTestFailed())
            return;
        std::optional<AssistiveElement> element;
        QTRY_VERIFY2_WITH_TIMEOUT((element = control(window, name, action)),
                                  qPrintable(name + u' ' + action),
                                  kPatienceMs);
        QVERIFY(m_reader->perform(*element, action));
        m_done.insert(QStringList{window, name, action}.join(QStringLiteral(": ")));
    }

    /// Whether it is to be seen.
    [[nodiscard]] bool has(const QString& window, const QString& name) const
    {
        return std::ranges::any_of(m_reader->elements(window), [&](const AssistiveElement& it) {
            return it.name == name && it.has(support::kStateShowing);
        });
    }

    void shows(const QString& window, const QString& name)
    {
        if (QTest::currentTestFailed())
            return;
        QTRY_VERIFY2_WITH_TIMEOUT(has(window, name), qPrintable(name), kPatienceMs);
    }

    /// Every action that is on offer in `window` now has been done, but for taking the focus.
    void everyActionIsDone(const QString& window)
    {
        if (QTest::currentTestFailed())
            return;
        for (const AssistiveElement& element : m_reader->elements(window)) {
            if (!element.has(support::kStateShowing))
                continue;
            for (const QString& action : m_reader->actions(element)) {
                const QString line =
                    QStringList{window, element.name, action}.join(QStringLiteral(": "));
                QVERIFY2(action == kSetFocus || m_done.contains(line), qPrintable(line));
            }
        }
    }

    /// Each control takes the keyboard by its action, and comes into sight. Texts, of which the
    /// toolkit says that they take it, are no controls.
    void everyControlTakesTheFocus(const QString& window)
    {
        if (QTest::currentTestFailed())
            return;
        int count = 0;
        for (const AssistiveElement& element : m_reader->elements(window)) {
            const bool isControl = element.role != kRoleLabel && isOfThisState(element);
            if (!isControl || !m_reader->actions(element).contains(kSetFocus))
                continue;
            ++count;
            QVERIFY(m_reader->perform(element, kSetFocus));
            QTRY_VERIFY2_WITH_TIMEOUT(
                hasFocusInSight(window, element), qPrintable(element.name), kPatienceMs);
        }
        QVERIFY(count >= 3);
    }

    /// The other button of a pair, of which one is there at a time, has no place.
    [[nodiscard]] bool isOfThisState(const AssistiveElement& element) const
    {
        return element.name != QStringLiteral("Log In") && element.name != QStringLiteral("Login");
    }

    [[nodiscard]] bool hasFocusInSight(const QString& window, const AssistiveElement& control) const
    {
        return std::ranges::any_of(m_reader->elements(window), [&](const AssistiveElement& it) {
            return it.path == control.path && it.has(support::kStateFocused) &&
                   it.has(support::kStateShowing);
        });
    }

    void openSettings()
    {
        launch(Account::SignedIn, kDashboard);
        perform(kDashboard, kSettings, kPress);
        waitFor(kSettings);
    }

    /// Has the settings scrolled to a control.
    void bringIntoSight(const QString& name, std::uint32_t role)
    {
        if (QTest::currentTestFailed())
            return;
        const auto element = m_reader->find(kSettings, name, role);
        QVERIFY(element && m_reader->perform(*element, kSetFocus));
        QTRY_VERIFY2_WITH_TIMEOUT(
            hasFocusInSight(kSettings, *element), qPrintable(name), kPatienceMs);
    }

    void isOpened(const QString& window)
    {
        if (QTest::currentTestFailed())
            return;
        waitFor(window);
        verify(m_desktop->closeWindow(window));
    }

    [[nodiscard]] qsizetype addressesOpened() const
    {
        return samples::contentOf(openedFile()).count("http://127.0.0.1:8787");
    }

    [[nodiscard]] QString storedInterval() const
    {
        const QString all = QString::fromUtf8(
            samples::contentOf(configFile("com.velomira.UsageMonitor/defaults.ini")));
        return all.section(QStringLiteral("syncInterval="), 1).section(u'\n', 0, 0);
    }

    [[nodiscard]] bool isSwitchOn() const
    {
        const auto element = m_reader->find(kSettings, kSwitch, support::kRoleCheckBox);
        return element && element->has(support::kStateChecked);
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs() + AssistiveReader::programs());
    }

    void cleanup()
    {
        m_agent.reset();
        m_reader.reset();
        m_desktop.reset();
        m_done.clear();
    }

    void theLoginWindow()
    {
        launch(Account::SignedOut, kLogin);
        everyControlTakesTheFocus(kLogin);
        const QString link = QStringLiteral("Create one at 127.0.0.1");
        perform(kLogin, link, kPress);
        QTRY_COMPARE_WITH_TIMEOUT(addressesOpened(), 1, kPatienceMs);

        // What a screen reader, or a keyboard on the screen, puts into the field is what counts.
        const auto email = m_reader->find(kLogin, QStringLiteral("Email"));
        QVERIFY(email);
        QVERIFY(m_reader->setText(*email, QStringLiteral("ada@example.org")));
        perform(kLogin, QStringLiteral("Password"), kSetFocus);
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), QStringLiteral("secret")}));
        // Nobody knows this password, or nobody listens: the attempt shows by what it says.
        perform(kLogin, QStringLiteral("Sign In"), kPress);
        const auto isRefused = [this] {
            return std::ranges::any_of(m_reader->elements(kLogin), [](const AssistiveElement& it) {
                return it.role == kRoleAlert && it.has(support::kStateShowing) &&
                       !it.name.isEmpty();
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(isRefused(), kPatienceMs);
        everyActionIsDone(kLogin);
    }

    void theDashboard()
    {
        launch(Account::SignedIn, kDashboard);
        everyControlTakesTheFocus(kDashboard);
        QVERIFY(!has(kDashboard, kOldApp));
        perform(kDashboard, QStringLiteral("All Time"), kPress);
        shows(kDashboard, kOldApp);
        perform(kDashboard, QStringLiteral("Today"), kPress);
        QTRY_VERIFY_WITH_TIMEOUT(!has(kDashboard, kOldApp), kPatienceMs);
        perform(kDashboard, QStringLiteral("All Time"), kToggle);
        shows(kDashboard, kOldApp);
        perform(kDashboard, QStringLiteral("Today"), kToggle);
        QTRY_VERIFY_WITH_TIMEOUT(!has(kDashboard, kOldApp), kPatienceMs);

        perform(kDashboard, QStringLiteral("Pause"), kPress);
        shows(kDashboard, QStringLiteral("Tracking Paused"));
        const qsizetype before = m_agent->lines().size();
        QVERIFY(support::staysSo(std::chrono::milliseconds(2500),
                                 [&] { return m_agent->lines().size() == before; }));
        perform(kDashboard, QStringLiteral("Resume"), kPress);
        QVERIFY(m_agent->nextLine());

        perform(kDashboard, kSettings, kPress);
        isOpened(kSettings);
        perform(kDashboard, QStringLiteral("Sync Now"), kPress);
        shows(kDashboard, QStringLiteral("Sync Error")); // the token is not one
        perform(kDashboard, QStringLiteral("Logout"), kPress);
        perform(kDashboard, QStringLiteral("Login"), kPress);
        isOpened(kLogin);
        everyActionIsDone(kDashboard);
    }

    void theSwitchOfTheSettings()
    {
        openSettings();
        const QString autostart = configFile("autostart/com.velomira.UsageMonitor.desktop");
        QVERIFY(!QFile::exists(autostart));
        bringIntoSight(kSwitch, support::kRoleCheckBox);
        for (const QString& action : {kToggle, kPress}) {
            perform(kSettings, kSwitch, action);
            QTRY_VERIFY2_WITH_TIMEOUT(QFile::exists(autostart), qPrintable(action), kPatienceMs);
            QTRY_VERIFY_WITH_TIMEOUT(isSwitchOn(), kPatienceMs);
            perform(kSettings, kSwitch, action);
            QTRY_VERIFY2_WITH_TIMEOUT(!QFile::exists(autostart), qPrintable(action), kPatienceMs);
            QTRY_VERIFY_WITH_TIMEOUT(!isSwitchOn(), kPatienceMs);
        }
    }

    void theSliderOfTheSettings()
    {
        openSettings();
        QCOMPARE(storedInterval(), QString());
        bringIntoSight(kInterval, support::kRoleSlider);
        perform(kSettings, kInterval, QStringLiteral("Increase"));
        QTRY_COMPARE_WITH_TIMEOUT(storedInterval(), QStringLiteral("6"), kPatienceMs);
        shows(kSettings, QStringLiteral("Sync Interval: 6 minutes"));
        perform(kSettings, kInterval, QStringLiteral("Decrease"));
        QTRY_COMPARE_WITH_TIMEOUT(storedInterval(), QStringLiteral("5"), kPatienceMs);
        for (const int minutes : {42, 60, 1}) {
            const auto slider = m_reader->find(kSettings, kInterval, support::kRoleSlider);
            QVERIFY(slider);
            QVERIFY(m_reader->setValue(*slider, minutes));
            QTRY_COMPARE_WITH_TIMEOUT(storedInterval(), QString::number(minutes), kPatienceMs);
            shows(kSettings, QStringLiteral("Sync Interval: %1 minutes").arg(minutes));
        }
    }

    void theSettings()
    {
        openSettings();
        everyControlTakesTheFocus(kSettings);
        bringIntoSight(QStringLiteral("Visit Velomira"), 0);
        perform(kSettings, QStringLiteral("Visit Velomira"), kPress);
        QTRY_COMPARE_WITH_TIMEOUT(addressesOpened(), 1, kPatienceMs);
        bringIntoSight(QStringLiteral("Sync Now"), 0);
        perform(kSettings, QStringLiteral("Sync Now"), kPress);
        bringIntoSight(QStringLiteral("Log Out"), 0);
        shows(kSettings, QStringLiteral("Sync Error"));
        perform(kSettings, QStringLiteral("Log Out"), kPress);
        perform(kSettings, QStringLiteral("Log In"), kPress);
        isOpened(kLogin);
        // These have tests of their own.
        for (const QString& done : {kSwitch + u": Toggle"_s,
                                    kSwitch + u": Press"_s,
                                    kInterval + u": Increase"_s,
                                    kInterval + u": Decrease"_s})
            m_done.insert(kSettings + u": "_s + done);
        everyActionIsDone(kSettings);
    }
};

QUILLSTEP_TEST(TestAssistiveActions)
#include "tst_assistive_actions.moc"
