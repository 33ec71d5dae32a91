// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The executable used as a user does, with the keyboard and the mouse, and looked at as a screen
// reader does; with the real service, a real keyring and a real desktop.
#include "tests/support/activity_samples.h"
#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/passing_time.h"
#include "tests/support/required_programs.h"
#include "tests/support/service_process.h"
#include "tests/support/signed_in_desktop.h"
#include "tests/support/test_program.h"
#include "tests/support/x11_test_window.h"
#include "tests/system/xdotool.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sys/resource.h>

using support::Account;
using support::Agent;
using support::AssistiveElement;
using support::AssistiveReader;
using support::SignedInDesktop;

namespace {

constexpr int kPatienceMs = 20000;
const QString kEmail = QStringLiteral("ada@example.org");
const QString kPassword = QStringLiteral("correct horse");
const QString kDashboard = QStringLiteral("Dashboard");
const QString kLogin = QStringLiteral("Login");
const QString kSettings = QStringLiteral("Settings");

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestDrivenWindows final : public QObject
{
    Q_OBJECT

    support::ServiceProcess m_service;
    std::unique_ptr<SignedInDesktop> m_desktop;
    std::unique_ptr<AssistiveReader> m_reader;
    std::unique_ptr<Agent> m_agent;

    [[nodiscard]] QString configFile(const char* name) const
    {
        return m_desktop->environment().value(QStringLiteral("XDG_CONFIG_HOME")) +
               QLatin1Char('/') + QLatin1StringView(name);
    }

    [[nodiscard]] QString autostartFile() const
    {
        return configFile("autostart/com.velomira.UsageMonitor.desktop");
    }

    /// Starts the program and waits for its first window, `title`.
    void launch(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(bool(m_agent->start()));
        waitFor(title);
    }

    void waitFor(const QString& title)
    {
        if (QTest::currentTestFailed())
            return;
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->focusedTitle(), title, kPatienceMs);
        // The first elements show that the screen reader's side is there, too.
        QTRY_VERIFY_WITH_TIMEOUT(!m_reader->elements(title).empty(), kPatienceMs);
    }

    void press(const char* keys)
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("key"), QString::fromLatin1(keys)}));
    }

    void type(const QString& text)
    {
        if (QTest::currentTestFailed())
            return;
        QVERIFY(xdotool(m_desktop->x11(), {QStringLiteral("type"), text}));
    }

    /// Whether it is to be seen.
    [[nodiscard]] bool has(const QString& window, const QString& name) const
    {
        return std::ranges::any_of(m_reader->elements(window), [&](const AssistiveElement& it) {
            return it.name == name && it.has(support::kStateShowing);
        });
    }

    void click(const QString& window, const QString& name, std::uint32_t role = 0)
    {
        if (QTest::currentTestFailed())
            return;
        std::optional<AssistiveElement> element;
        QTRY_VERIFY_WITH_TIMEOUT((element = m_reader->find(window, name, role)), kPatienceMs);
        const QPoint middle = m_reader->place(*element).center();
        QVERIFY(xdotool(m_desktop->x11(),
                        {QStringLiteral("mousemove"),
                         QString::number(middle.x()),
                         QString::number(middle.y()),
                         QStringLiteral("click"),
                         QStringLiteral("1")}));
    }

    void signIn(const QString& password)
    {
        type(kEmail);
        press("Return"); // to the password
        type(password);
        press("Return");
    }

    [[nodiscard]] bool isEnabled(const QString& window, const QString& name) const
    {
        const auto element = m_reader->find(window, name);
        return element && element->has(support::kStateEnabled);
    }

    [[nodiscard]] bool isChecked(const QString& window, const QString& name) const
    {
        const auto element = m_reader->find(window, name, support::kRoleCheckBox);
        return element && element->has(support::kStateChecked);
    }

    void prepare(Account account)
    {
        m_desktop = std::make_unique<SignedInDesktop>();
        const platform::Outcome started = m_desktop->start(account);
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        m_reader = std::make_unique<AssistiveReader>();
        const platform::Outcome reading = m_reader->start(m_desktop->environment());
        QVERIFY2(bool(reading), reading ? "" : qPrintable(reading.error().text));
        m_agent =
            std::make_unique<Agent>(AssistiveReader::programEnvironment(m_desktop->environment()));
    }

private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(SignedInDesktop::programs() + AssistiveReader::programs());
        const platform::Outcome started =
            m_service.start(m_service.folder() + QStringLiteral("/service.sqlite"),
                            {QStringLiteral("--port"), QStringLiteral("8787")});
        QVERIFY2(bool(started), started ? "" : qPrintable(started.error().text));
        QVERIFY(bool(m_service.addUser(kEmail, QStringLiteral("Ada Lovelace"), kPassword)));
    }

    void cleanup()
    {
        m_agent.reset();
        m_reader.reset();
        m_desktop.reset();
    }

    void signingInFromAWrongPasswordToTheDashboard()
    {
        prepare(Account::SignedOut);
        launch(kLogin);
        QVERIFY(!isEnabled(kLogin, QStringLiteral("Sign In")));
        signIn(QStringLiteral("wrong"));
        QTRY_VERIFY_WITH_TIMEOUT(
            has(kLogin, QStringLiteral("The e-mail address or the password is wrong")),
            kPatienceMs);
        QCOMPARE(m_desktop->windowsTitled(kDashboard).size(), 0);

        press("ctrl+a");
        type(kPassword);
        press("Return");
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).isEmpty(), kPatienceMs);
        waitFor(kDashboard);
        QTRY_VERIFY_WITH_TIMEOUT(has(kDashboard, QStringLiteral("Ada Lovelace")), kPatienceMs);
        QVERIFY(has(kDashboard, QStringLiteral("Tracking Active")));
        QVERIFY(m_agent->nextLine()); // it records
    }

    void thePasswordStaysWithTheUser()
    {
        prepare(Account::SignedOut);
        launch(kLogin);
        press("Tab");
        type(kPassword);
        const auto field = m_reader->find(kLogin, QStringLiteral("Password"));
        QVERIFY(field);
        QCOMPARE(field->role, support::kRolePasswordText);
        for (const AssistiveElement& element : m_reader->elements(kLogin)) {
            QVERIFY(!element.name.contains(QStringLiteral("correct")));
            QVERIFY(!m_reader->text(element).contains(QStringLiteral("correct")));
        }
    }

    void theWebSiteIsOpenedByAProgramThatInheritsNothingOfOurs()
    {
        prepare(Account::SignedOut);
        QProcessEnvironment environment =
            AssistiveReader::programEnvironment(m_desktop->environment());
        const QString folder = environment.value(QStringLiteral("HOME"));
        const QString seen = folder + QStringLiteral("/seen");
        // In place of the desktop's opener; complete once it has its name.
        QFile opener(folder + QStringLiteral("/xdg-open"));
        QVERIFY(opener.open(QIODevice::WriteOnly));
        opener.write(
            "#!/bin/sh\n"
            "echo noise\n"
            // By the shell itself: while it starts a program it blocks signals for a moment.
            "{ echo \"address $1\"\n"
            "echo \"core limit $(ulimit -S -c)\"\n"
            "while read -r line; do case $line in Sig*) echo \"$line\" ;; esac; done "
            "</proc/self/status\n"
            "env; ls -l /proc/$$/fd; } >'" +
            seen.toUtf8() + ".part'\nmv '" + seen.toUtf8() + ".part' '" + seen.toUtf8() + "'\n");
        opener.close();
        QVERIFY(opener.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        environment.insert(QStringLiteral("PATH"),
                           folder + u':' + environment.value(QStringLiteral("PATH")));
        // A sanitizer would lower the limit for core files before the program looks at it.
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           environment.value(QStringLiteral("ASAN_OPTIONS")) +
                               QStringLiteral(":disable_coredump=0"));
        environment.insert(QStringLiteral("DBUS_STARTER_BUS_TYPE"), QStringLiteral("session"));
        environment.insert(QStringLiteral("NOTIFY_SOCKET"), folder + QStringLiteral("/notify"));
        m_agent = std::make_unique<Agent>(environment);
        rlimit usual{};
        QCOMPARE(::getrlimit(RLIMIT_CORE, &usual), 0);
        constexpr rlim_t kBlock = 512; // in which the shell counts
        rlimit some = usual;
        some.rlim_cur = std::min(77 * kBlock, usual.rlim_max);
        QCOMPARE(::setrlimit(RLIMIT_CORE, &some), 0);
        launch(kLogin);
        QCOMPARE(::setrlimit(RLIMIT_CORE, &usual), 0);
        click(kLogin, QStringLiteral("Create one at 127.0.0.1"));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(seen), kPatienceMs);

        const QString found = QString::fromUtf8(contentOf(seen));
        QVERIFY2(found.startsWith(QStringLiteral("address http://127.0.0.1:8787\n")),
                 qPrintable(found));
        const QString core = QStringLiteral("\ncore limit %1\n").arg(some.rlim_cur / kBlock);
        QVERIFY2(found.contains(core), qPrintable(found));
        QVERIFY2(found.contains(QStringLiteral("SigBlk:\t0000000000000000\n")), qPrintable(found));
        QVERIFY2(!found.contains(QStringLiteral("DBUS_STARTER_")), qPrintable(found));
        QVERIFY2(!found.contains(QStringLiteral("NOTIFY_SOCKET")), qPrintable(found));
        QVERIFY2(!found.contains(QStringLiteral("socket:")), qPrintable(found));
        QVERIFY2(!found.contains(QStringLiteral("activity_logs")), qPrintable(found));
        QVERIFY(!m_agent->lines().contains(QStringLiteral("noise")));
    }

    void loggingOutAndInAgain()
    {
        prepare(Account::SignedIn);
        launch(kDashboard);
        QVERIFY(isEnabled(kDashboard, QStringLiteral("Sync Now")));
        click(kDashboard, QStringLiteral("Logout"));
        QTRY_VERIFY_WITH_TIMEOUT(has(kDashboard, QStringLiteral("Login")), kPatienceMs);
        QVERIFY(!has(kDashboard, QStringLiteral("Logout")));
        QVERIFY(!isEnabled(kDashboard, QStringLiteral("Sync Now")));
        click(kDashboard, QStringLiteral("Login"));
        waitFor(kLogin);
        press("Escape");
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop->windowsTitled(kLogin).isEmpty(), kPatienceMs);
    }

    void trackingIsPausedAndResumedFromTheDashboard()
    {
        prepare(Account::SignedIn);
        launch(kDashboard);
        QVERIFY(m_agent->nextLine());
        click(kDashboard, QStringLiteral("Pause"));
        QTRY_VERIFY_WITH_TIMEOUT(has(kDashboard, QStringLiteral("Tracking Paused")), kPatienceMs);
        const qsizetype before = m_agent->lines().size();
        QVERIFY(support::staysSo(std::chrono::milliseconds(2500),
                                 [&] { return m_agent->lines().size() == before; }));
        click(kDashboard, QStringLiteral("Resume"));
        QVERIFY(m_agent->nextLine());
    }

    void syncNowDeliversWhatWasRecorded()
    {
        prepare(Account::SignedOut);
        launch(kLogin);
        signIn(kPassword);
        waitFor(kDashboard);
        QVERIFY(m_agent->nextLine());
        QVERIFY(m_agent->nextLine());
        click(kDashboard, QStringLiteral("Sync Now"));
        const auto delivered = [this] {
            const QStringList lines = m_agent->lines();
            return std::ranges::any_of(lines, [](const QString& line) {
                return line.startsWith(QLatin1StringView("Velomira Sync Success: "));
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(delivered(), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(has(kDashboard, QStringLiteral("Active")), kPatienceMs);
    }

    void theIntervalIsSetAtBothEndsOfItsSlider()
    {
        prepare(Account::SignedIn);
        launch(kDashboard);
        press("ctrl+comma");
        waitFor(kSettings);
        QTRY_VERIFY_WITH_TIMEOUT(has(kSettings, QStringLiteral("Sync Interval: 5 minutes")),
                                 kPatienceMs);
        const auto stored = [this] {
            return QString::fromUtf8(
                contentOf(configFile("com.velomira.UsageMonitor/defaults.ini")));
        };
        QVERIFY(!stored().contains(QStringLiteral("syncInterval")));
        // By the keyboard alone, as far as it takes.
        const auto sliderHasFocus = [this] {
            for (const AssistiveElement& element : m_reader->elements(kSettings)) {
                if (element.role == support::kRoleSlider && element.has(support::kStateFocused))
                    return true;
            }
            return false;
        };
        for (int i = 0; i < 10 && !sliderHasFocus(); ++i)
            press("Tab");
        QVERIFY(sliderHasFocus());
        press("End");
        QTRY_VERIFY_WITH_TIMEOUT(has(kSettings, QStringLiteral("Sync Interval: 60 minutes")),
                                 kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(stored().contains(QStringLiteral("syncInterval=60")), kPatienceMs);
        press("Home");
        QTRY_VERIFY_WITH_TIMEOUT(has(kSettings, QStringLiteral("Sync Interval: 1 minutes")),
                                 kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(stored().contains(QStringLiteral("syncInterval=1\n")),
                                 kPatienceMs);
    }

    void launchAtLoginIsSwitchedOnAndOff()
    {
        prepare(Account::SignedIn);
        launch(kDashboard);
        click(kDashboard, QStringLiteral("Settings"));
        waitFor(kSettings);
        const QString label = QStringLiteral("Launch at Login");
        focusSwitch(label);
        QVERIFY(!isChecked(kSettings, label));
        press("space");
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(autostartFile()), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(isChecked(kSettings, label), kPatienceMs);
        press("space");
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(autostartFile()), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!isChecked(kSettings, label), kPatienceMs);
    }

    void aLoginItemThatCannotBeMadeFlipsTheSwitchBack()
    {
        prepare(Account::SignedIn);
        QFile inTheWay(configFile("autostart"));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        inTheWay.close();
        launch(kDashboard);
        click(kDashboard, QStringLiteral("Settings"));
        waitFor(kSettings);
        const QString label = QStringLiteral("Launch at Login");
        focusSwitch(label);
        press("space");
        const auto complained = [this] {
            return m_agent->lines()
                .filter(QStringLiteral("Failed to enable launch at login: "))
                .size();
        };
        QTRY_COMPARE_WITH_TIMEOUT(complained(), 1, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!isChecked(kSettings, label), kPatienceMs);
    }

private:
    /// By the keyboard, as far as it takes.
    void focusSwitch(const QString& label)
    {
        if (QTest::currentTestFailed())
            return;
        const auto hasFocus = [this, &label] {
            const auto element = m_reader->find(kSettings, label, support::kRoleCheckBox);
            return element && element->has(support::kStateFocused);
        };
        for (int i = 0; i < 20 && !hasFocus(); ++i)
            press("Tab");
        QVERIFY(hasFocus());
    }
};

QUILLSTEP_TEST(TestDrivenWindows)
#include "tst_driven_windows.moc"
