// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/choices.h"
#include "backends/xdg/application_names.h"
#include "tests/backends/fake_front_window_source.h"
#include "tests/support/test_program.h"

#include <QSignalSpy>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;
using platform::desktop::FrontWindow;
using platform::desktop::FrontWindowSource;
using platform::desktop::Presence;
using platform::desktop::WindowChoice;
using platform_tests::FakeFrontWindowSource;

namespace {

FrontWindow window(const QString& identifier, const QString& title)
{
    return {.window = 7,
            .identifiers = {identifier},
            .name = std::nullopt,
            .processIdentifier = 0,
            .title = title};
}

class FakeIdleSource final : public platform::desktop::IdleSource
{
public:
    FakeIdleSource(Presence presence, double seconds)
        : is(presence)
        , idle(seconds)
    {
    }

    [[nodiscard]] QString name() const override { return QStringLiteral("idle %1").arg(idle); }

    [[nodiscard]] Presence presence() const override { return is; }

    [[nodiscard]] double secondsSinceLastInput() override { return idle; }

    Presence is;
    double idle;
};

struct Bench
{
    platform::xdg::ApplicationNames names{QStringList()};
    FakeFrontWindowSource best{u"best"_s};
    FakeFrontWindowSource second{u"second"_s};
    WindowChoice choice{names};

    Bench()
    {
        best.window = window(u"a"_s, u"A"_s);
        second.window = window(u"b"_s, u"B"_s);
        choice.add(best);
        choice.add(second, u"Sees little."_s);
    }

    QString front()
    {
        const auto application = choice.frontmostApplication();
        if (!application)
            return u"(none)"_s;
        return application->bundleIdentifier.value_or(QString()) + u'|' +
               choice.focusedWindowTitle(*application).value_or(u"(none)"_s);
    }
};

} // namespace

class TestWindowChoice final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void nothingIsInFrontWhereNobodyTells()
    {
        Bench bench;
        QCOMPARE(bench.front(), u"(none)"_s);
        QVERIFY(!bench.choice.hasAnswer());
        QVERIFY(!bench.choice.isUndecided());
        QVERIFY(bench.choice.notice().contains(u"nothing is recorded"_s));
    }

    void theFirstThatIsThereAnswers()
    {
        Bench bench;
        bench.second.set(Presence::Here);
        QCOMPARE(bench.front(), u"b|B"_s);
        QCOMPARE(bench.choice.nameOfChosen(), u"second"_s);
        QCOMPARE(bench.choice.notice(), u"Sees little."_s);
        bench.best.set(Presence::Here);
        QCOMPARE(bench.front(), u"a|A"_s);
        QCOMPARE(bench.choice.nameOfChosen(), u"best"_s);
        QCOMPARE(bench.choice.notice(), QString());
    }

    void whileABetterOneIsAskedNothingIsInFront()
    {
        Bench bench;
        bench.best.set(Presence::Asking);
        bench.second.set(Presence::Here);
        QCOMPARE(bench.front(), u"(none)"_s);
        QVERIFY(bench.choice.isUndecided());
        QCOMPARE(bench.choice.notice(), QString());
        bench.best.set(Presence::Absent);
        QCOMPARE(bench.front(), u"b|B"_s);
        QVERIFY(!bench.choice.isUndecided());
    }

    void oneThatGoesIsReplacedAndComesBack()
    {
        Bench bench;
        QSignalSpy changed(&bench.choice, &WindowChoice::changed);
        bench.best.set(Presence::Here);
        bench.second.set(Presence::Here);
        bench.best.set(Presence::Absent);
        QCOMPARE(bench.front(), u"b|B"_s);
        bench.best.set(Presence::Here);
        QCOMPARE(bench.front(), u"a|A"_s);
        QCOMPARE(changed.count(), 4);
    }

    void theAdviceOfAbsentOnesIsGivenOnlyWhereSomethingIsNotSeen()
    {
        Bench bench;
        bench.best.set(Presence::Absent, u"Switch it on."_s);
        QCOMPARE(bench.choice.notice().section(u". "_s, -1), u"Switch it on."_s);
        bench.second.set(Presence::Here);
        QCOMPARE(bench.choice.notice(), u"Sees little. Switch it on."_s);
        bench.best.set(Presence::Here);
        QCOMPARE(bench.choice.notice(), QString());
    }

    void oneThatIsNotToBeHadIsTriedOnceAndTheNextOneTaken()
    {
        Bench bench;
        FakeFrontWindowSource last(u"last"_s, Presence::Here);
        last.window = window(u"x"_s, u"T"_s);
        int tries = 0;
        bench.best.set(Presence::Here);
        bench.choice.addWhenNeeded([&]() -> FrontWindowSource* {
            ++tries;
            return nullptr;
        });
        bench.choice.addWhenNeeded([&] { return &last; }, u"Sees hardly anything."_s);
        QCOMPARE(tries, 0);
        bench.best.set(Presence::Absent);
        QCOMPARE(bench.front(), u"x|T"_s);
        QCOMPARE(bench.choice.notice(), u"Sees hardly anything."_s);
        bench.best.set(Presence::Here);
        bench.best.set(Presence::Absent);
        QCOMPARE(bench.choice.nameOfChosen(), u"last"_s);
        QCOMPARE(tries, 1);
        last.set(Presence::Absent);
        QVERIFY(!bench.choice.hasAnswer());
        QCOMPARE(tries, 1);
    }

    void aCostlySourceIsMadeOnlyWhenItIsNeeded()
    {
        platform::xdg::ApplicationNames names{QStringList()};
        FakeFrontWindowSource best(u"best"_s, Presence::Asking);
        FakeFrontWindowSource costly(u"costly"_s, Presence::Here);
        costly.window = window(u"c"_s, u"C"_s);
        WindowChoice choice(names);
        choice.add(best);
        int made = 0;
        choice.addWhenNeeded(
            [&]() -> FrontWindowSource* {
                ++made;
                return &costly;
            },
            u"Sees some."_s);
        best.set(Presence::Here);
        QCOMPARE(made, 0);
        best.set(Presence::Absent);
        QCOMPARE(made, 1);
        QCOMPARE(choice.nameOfChosen(), u"costly"_s);
        QCOMPARE(choice.notice(), u"Sees some."_s);
        best.set(Presence::Here);
        best.set(Presence::Absent);
        QCOMPARE(made, 1);
        QCOMPARE(choice.nameOfChosen(), u"costly"_s);
    }

    void aLockedSessionHasNothingInFront()
    {
        Bench bench;
        bench.best.set(Presence::Here);
        const auto application = bench.choice.frontmostApplication();
        QVERIFY(application);
        bench.choice.setLocked(true);
        QCOMPARE(bench.front(), u"(none)"_s);
        QCOMPARE(bench.choice.focusedWindowTitle(*application), std::optional<QString>());
        bench.choice.setLocked(false);
        QCOMPARE(bench.front(), u"a|A"_s);
    }

    void theNameThatTheDesktopKnowsComesFirst()
    {
        Bench bench;
        bench.best.window->name = u"Aller Anfang"_s;
        bench.best.set(Presence::Here);
        const auto application = bench.choice.frontmostApplication();
        QVERIFY(application);
        QCOMPARE(application->localizedName, std::optional(u"Aller Anfang"_s));
        QCOMPARE(application->bundleIdentifier, std::optional(u"a"_s));
    }

    // The title belongs to the window that the application was taken from, whatever comes between.
    void applicationAndTitleAreOfOneLook()
    {
        Bench bench;
        bench.best.set(Presence::Here);
        const auto before = bench.choice.frontmostApplication();
        QVERIFY(before);
        bench.best.window = window(u"c"_s, u"C"_s);
        bench.best.window->window = 8;
        QCOMPARE(bench.choice.focusedWindowTitle(*before), std::optional(u"A"_s));
        QVERIFY(bench.choice.latest());
        QCOMPARE(bench.choice.latest()->title, u"A"_s);
        QCOMPARE(bench.front(), u"c|C"_s);
        QCOMPARE(bench.choice.focusedWindowTitle(*before), std::nullopt);
        bench.best.window.reset();
        QCOMPARE(bench.front(), u"(none)"_s);
        QVERIFY(!bench.choice.latest());
    }

    void aTitleThatChangesIsSeen()
    {
        Bench bench;
        bench.best.set(Presence::Here);
        QCOMPARE(bench.front(), u"a|A"_s);
        bench.best.window->title = u"B"_s;
        QCOMPARE(bench.front(), u"a|B"_s);
        bench.best.window->title.reset();
        QCOMPARE(bench.front(), u"a|(none)"_s);
        QCOMPARE(bench.choice.latest()->title, QString());
    }

    void whatAnotherSourceHasToldDoesNotCount()
    {
        Bench bench;
        bench.second.set(Presence::Here);
        const auto application = bench.choice.frontmostApplication();
        QVERIFY(application);
        bench.best.set(Presence::Here); // it numbers its windows alike
        QCOMPARE(bench.choice.focusedWindowTitle(*application), std::nullopt);
        QVERIFY(!bench.choice.latest());
    }

    void theFirstIdleTimeThatIsThereCounts()
    {
        platform::desktop::IdleChoice choice;
        QVERIFY(std::isnan(choice.secondsSinceLastInput()));
        FakeIdleSource best(Presence::Absent, 1);
        FakeIdleSource second(Presence::Here, 2);
        choice.add(best);
        QVERIFY(std::isnan(choice.secondsSinceLastInput()));
        QCOMPARE(choice.nameOfChosen(), QString());
        choice.add(second);
        QCOMPARE(choice.secondsSinceLastInput(), 2.0);
        QCOMPARE(choice.nameOfChosen(), u"idle 2"_s);
        best.is = Presence::Asking;
        QVERIFY(choice.isUndecided());
        QCOMPARE(choice.nameOfChosen(), QString());
        best.is = Presence::Here;
        QCOMPARE(choice.secondsSinceLastInput(), 1.0);
        QVERIFY(!choice.isUndecided());
    }
};

QUILLSTEP_TEST(TestWindowChoice)
#include "tst_window_choice.moc"
