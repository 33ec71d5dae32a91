// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/gnome/extension_state.h"
#include "backends/desktops/gnome/gnome_front_window.h"
#include "tests/support/test_program.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::gnome::adviceFor;
using platform::gnome::ExtensionState;
using platform::gnome::extensionState;
using platform::gnome::extensionUuid;
using platform::gnome::readAnswer;

namespace {

/// An answer with these values at the places where they differ from those of a usual window.
QVariantList answer(const QMap<int, QVariant>& differences = {})
{
    QVariantList values{QVariant::fromValue(7ULL),
                        u"org.example.Clock.desktop"_s,
                        u"Uhr"_s,
                        u"12:00"_s,
                        u"clock"_s,
                        42};
    for (auto each = differences.begin(); each != differences.end(); ++each)
        values[each.key()] = each.value();
    return values;
}

QVariantMap information(double state)
{
    return {{u"uuid"_s, extensionUuid()}, {u"state"_s, state}};
}

} // namespace

class TestGnomeExtension final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void anAnswerBecomesAWindow()
    {
        FrontWindow expected;
        expected.window = (1ULL << 32U) | 7U;
        expected.identifiers = {u"org.example.Clock"_s, u"clock"_s};
        expected.name = u"Uhr"_s;
        expected.processIdentifier = 42;
        expected.title = u"12:00"_s;
        QCOMPARE(readAnswer(answer(), 1), std::optional(expected));
    }

    void windowsOfTwoShellsAreDifferentOnes()
    {
        QVERIFY(readAnswer(answer(), 1)->window != readAnswer(answer(), 2)->window);
    }

    void windowNumberZeroIsNoWindow()
    {
        QVERIFY(!readAnswer(answer({{0, QVariant::fromValue(0ULL)}}), 1));
    }

    void emptyTextsAreLeftOut()
    {
        const auto window = readAnswer(answer({{1, u""_s}, {2, u""_s}, {3, u""_s}}), 1);
        QVERIFY(window);
        QCOMPARE(window->identifiers, QStringList(u"clock"_s));
        QVERIFY(!window->name);
        QVERIFY(!window->title);
    }

    void equalIdentifiersComeOnce()
    {
        const auto window = readAnswer(answer({{4, u"org.example.Clock"_s}}), 1);
        QCOMPARE(window->identifiers, QStringList(u"org.example.Clock"_s));
    }

    void aNegativeProcessIsUnknown()
    {
        QCOMPARE(readAnswer(answer({{5, -1}}), 1)->processIdentifier, 0);
    }

    void answersOfAnotherKindAreNoWindow_data()
    {
        QTest::addColumn<QVariantList>("values");
        QTest::newRow("nothing") << QVariantList{};
        QTest::newRow("too little") << answer().mid(0, 5);
        QTest::newRow("too much") << answer() + QVariantList{1};
        QTest::newRow("number of another type") << answer({{0, 7}});
        QTest::newRow("number too large") << answer({{0, QVariant::fromValue(1ULL << 32U)}});
        QTest::newRow("id of another type") << answer({{1, 7}});
        QTest::newRow("title of another type") << answer({{3, QByteArray("12:00")}});
        QTest::newRow("process of another type") << answer({{5, 42U}});
    }

    void answersOfAnotherKindAreNoWindow()
    {
        QFETCH(QVariantList, values);
        QVERIFY(!readAnswer(values, 1));
    }

    void longTitlesAreCutBetweenCharacters_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("kept");
        const qsizetype most = 16 * 1024;
        const QString fits(most, u'x');
        QTest::newRow("fits") << fits << fits;
        QTest::newRow("one more") << fits + u'x' << fits;
        const QString odd(most - 1, u'x');
        QTest::newRow("two bytes") << odd + u"ü"_s << odd;
        QTest::newRow("four bytes") << odd + u"😀"_s << odd;
        QTest::newRow("much more") << fits.repeated(100) << fits;
        const QString emoji = u"😀"_s.repeated(most / 4);
        QTest::newRow("fits in four bytes") << emoji << emoji;
        QTest::newRow("four bytes and more") << emoji + emoji << emoji;
        QTest::newRow("three bytes and more") << QString(most, u'€') << QString(most / 3, u'€');
    }

    void longTitlesAreCutBetweenCharacters()
    {
        QFETCH(QString, title);
        QFETCH(QString, kept);
        QCOMPARE(readAnswer(answer({{3, title}}), 1)->title, std::optional(kept));
    }

    void longIdentifiersAreLeftOut()
    {
        const QString longest(1024, u'x');
        auto window = readAnswer(answer({{1, longest}, {2, longest}, {4, longest + u'x'}}), 1);
        QCOMPARE(window->identifiers, QStringList(longest));
        QCOMPARE(window->name, std::optional(longest));
        window = readAnswer(answer({{1, longest + u'x'}, {2, QString(600, u'ü')}}), 1);
        QCOMPARE(window->identifiers, QStringList(u"clock"_s));
        QVERIFY(!window->name);
    }

    void theShellsWordsBecomeAState_data()
    {
        QTest::addColumn<QVariantMap>("info");
        QTest::addColumn<bool>("extensionsAreOn");
        QTest::addColumn<bool>("isInstalled");
        QTest::addColumn<ExtensionState>("state");
        QTest::newRow("not there")
            << QVariantMap() << true << false << ExtensionState::NotInstalled;
        QTest::newRow("installed later")
            << QVariantMap() << true << true << ExtensionState::NotLoaded;
        QTest::newRow("enabled") << information(1) << true << true << ExtensionState::Working;
        QTest::newRow("disabled") << information(2) << true << true << ExtensionState::SwitchedOff;
        QTest::newRow("all off") << information(2) << false << true << ExtensionState::AllOff;
        QTest::newRow("error") << information(3) << true << true << ExtensionState::Failed;
        QTest::newRow("outdated") << information(4) << true << true << ExtensionState::Outdated;
        QTest::newRow("outdated and all off")
            << information(4) << false << true << ExtensionState::Outdated;
        QTest::newRow("downloading") << information(5) << true << true << ExtensionState::Unknown;
        QTest::newRow("never enabled")
            << information(6) << true << true << ExtensionState::SwitchedOff;
        QTest::newRow("being enabled") << information(8) << true << true << ExtensionState::Working;
        QTest::newRow("uninstalled")
            << information(99) << true << true << ExtensionState::NotInstalled;
        QTest::newRow("no number")
            << QVariantMap{{u"state"_s, u"on"_s}} << true << true << ExtensionState::Unknown;
        QTest::newRow("no state") << QVariantMap{{u"uuid"_s, u"x"_s}} << true << true
                                  << ExtensionState::Unknown;
        QTest::newRow("not a number")
            << information(qQNaN()) << true << true << ExtensionState::Unknown;
    }

    void theShellsWordsBecomeAState()
    {
        QFETCH(QVariantMap, info);
        QFETCH(bool, extensionsAreOn);
        QFETCH(bool, isInstalled);
        QTEST(extensionState(info, extensionsAreOn, isInstalled), "state");
    }

    void everyHindranceHasAnAdviceOfItsOwn()
    {
        QSet<QString> advices;
        for (const ExtensionState state : {ExtensionState::NotInstalled,
                                           ExtensionState::NotLoaded,
                                           ExtensionState::SwitchedOff,
                                           ExtensionState::AllOff,
                                           ExtensionState::Failed,
                                           ExtensionState::Outdated}) {
            const QString advice = adviceFor(state);
            QVERIFY(advice.endsWith(u'.'));
            QVERIFY(!advice.contains(u"%1"_s));
            advices.insert(advice);
        }
        QCOMPARE(advices.size(), 6);
    }

    void withoutHindranceThereIsNoAdvice()
    {
        QCOMPARE(adviceFor(ExtensionState::Working), QString());
        QCOMPARE(adviceFor(ExtensionState::Unknown), QString());
    }

    void theAdviceNamesTheCommandThatHelps()
    {
        QVERIFY(adviceFor(ExtensionState::SwitchedOff)
                    .contains(u"gnome-extensions enable usage-monitor@velomira.com"_s));
        QVERIFY(adviceFor(ExtensionState::NotLoaded).contains(u"Log out and in again"_s));
        QVERIFY(adviceFor(ExtensionState::AllOff).contains(u"disable-user-extensions false"_s));
    }
};

QUILLSTEP_TEST(TestGnomeExtension)
#include "tst_gnome_extension.moc"
