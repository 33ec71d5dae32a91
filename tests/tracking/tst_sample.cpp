// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"
#include "tracking/tracking_engine.h"

#include <QTest>

#include <limits>

using platform::Application;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}

class TestSample final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void idleOnlyAboveTheThreshold()
    {
        QVERIFY(!tracking::isIdle(0, 120));
        QVERIFY(!tracking::isIdle(120.0, 120));
        QVERIFY(tracking::isIdle(120.001, 120));
        QVERIFY(tracking::isIdle(std::numeric_limits<double>::infinity(), 120));
    }

    void unknownIdleTimeCountsAsActivity() { QVERIFY(!tracking::isIdle(kNaN, 120)); }

    void nameFallsBackToIdentifierThenUnknown()
    {
        Application application{.localizedName = QStringLiteral("Files"),
                                .bundleIdentifier = QStringLiteral("org.example.Files")};
        QCOMPARE(tracking::applicationName(application), QStringLiteral("Files"));
        application.localizedName.reset();
        QCOMPARE(tracking::applicationName(application), QStringLiteral("org.example.Files"));
        application.bundleIdentifier.reset();
        QCOMPARE(tracking::applicationName(application), QStringLiteral("Unknown"));
    }

    void emptyNameIsAName()
    {
        const Application application{.localizedName = QString(),
                                      .bundleIdentifier = QStringLiteral("org.example.Files")};
        QCOMPARE(tracking::applicationName(application), QString());
    }

    void scriptsAreTheFixedTexts()
    {
        const auto chrome = tracking::addressScript(QStringLiteral("com.google.Chrome"));
        const auto safari = tracking::addressScript(QStringLiteral("com.apple.Safari"));
        QVERIFY(chrome && safari);
        QCOMPARE(chrome->toString(),
                 QStringLiteral("tell application \"Google Chrome\" to return URL of active tab of "
                                "front window"));
        QCOMPARE(chrome->size(), 76);
        QCOMPARE(safari->toString(),
                 QStringLiteral("tell application \"Safari\" to return URL of front document"));
        QCOMPARE(safari->size(), 57);
    }

    void identifiersAreTestedBySubstringCaseSensitivelyChromeFirst()
    {
        const auto script = [](const char* identifier) {
            const auto found = tracking::addressScript(QString::fromLatin1(identifier));
            return found ? found->toString().mid(18, 6) : QString();
        };
        QCOMPARE(script("chromium+Chrome"), QStringLiteral("Google"));
        QCOMPARE(script("xChromex"), QStringLiteral("Google"));
        QCOMPARE(script("firefox+Safari"), QStringLiteral("Safari"));
        QCOMPARE(script("SafariChrome"), QStringLiteral("Google"));
        QCOMPARE(script("google-chrome"), QString());
        QCOMPARE(script("safari"), QString());
        QCOMPARE(script(""), QString());
        QVERIFY(!tracking::addressScript(std::nullopt));
    }

    void tickLineShowsTwoBlanksForAnEmptyTitleAndDashesForNoAddress()
    {
        QCOMPARE(tracking::tickLine(QStringLiteral("App"), QString(), std::nullopt),
                 QStringLiteral("Tick: App |  | --"));
        QCOMPARE(tracking::tickLine(QStringLiteral("App"),
                                    QStringLiteral("a | b"),
                                    QStringLiteral("https://example.com/")),
                 QStringLiteral("Tick: App | a | b | https://example.com/"));
        QCOMPARE(tracking::tickLine(QStringLiteral("App"), QStringLiteral("t"), QString()),
                 QStringLiteral("Tick: App | t | "));
    }

    void idleLineCutsTowardZero()
    {
        QCOMPARE(tracking::idleLine(120.001), QStringLiteral("Idle: 120s"));
        QCOMPARE(tracking::idleLine(125.9), QStringLiteral("Idle: 125s"));
        QCOMPARE(tracking::idleLine(1e15), QStringLiteral("Idle: 1000000000000000s"));
    }
};

QUILLSTEP_TEST(TestSample)
#include "tst_sample.moc"
