// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/platform/contract/desktop_contract.h"

#include <QTest>

namespace contract {

QString DesktopContract::frontIdentifier()
{
    const auto application = desktop().frontmostApplication().frontmostApplication();
    return application ? application->bundleIdentifier.value_or(u"(no identifier)"_qs)
                       : u"(none)"_qs;
}

std::optional<QString> DesktopContract::frontTitle()
{
    const auto application = desktop().frontmostApplication().frontmostApplication();
    return application ? desktop().windowTitle().focusedWindowTitle(*application) : std::nullopt;
}

void DesktopContract::withoutWindowsNothingIsInFront()
{
    QCOMPARE(frontIdentifier(), u"(none)"_qs);
}

void DesktopContract::theFocusedWindowsApplicationIsInFront()
{
    desktop().open(u"one"_qs, u"First"_qs);
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->bundleIdentifier, std::optional(u"one"_qs));
    QCOMPARE(application->localizedName, std::optional(u"one"_qs));
    QVERIFY(application->window != 0);
    QVERIFY(application->processIdentifier >= 0);
}

void DesktopContract::aChangeOfFocusIsSeenAtTheNextQuestion()
{
    desktop().open(u"one"_qs, u"First"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    QCOMPARE(frontIdentifier(), u"two"_qs);
    desktop().focus(u"one"_qs);
    QCOMPARE(frontIdentifier(), u"one"_qs);
    desktop().focus(u"two"_qs);
    QCOMPARE(frontIdentifier(), u"two"_qs);
}

void DesktopContract::theTitleIsThatOfTheApplicationJustAnswered()
{
    desktop().open(u"one"_qs, u"First"_qs);
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    desktop().open(u"two"_qs, u"Second"_qs);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*application), std::optional(u"First"_qs));
}

void DesktopContract::everyApplicationHasItsOwnTitle()
{
    desktop().open(u"one"_qs, u"First"_qs);
    const auto first = desktop().frontmostApplication().frontmostApplication();
    desktop().open(u"two"_qs, u"Second"_qs);
    const auto second = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(first && second);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*first), std::optional(u"First"_qs));
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*second), std::optional(u"Second"_qs));
}

void DesktopContract::aChangeOfTitleIsSeenAtTheNextTick()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QCOMPARE(frontTitle(), std::optional(u"First"_qs));
    desktop().setTitle(u"one"_qs, u"Grüße 😀"_qs);
    QCOMPARE(frontTitle(), std::optional(u"Grüße 😀"_qs));
}

void DesktopContract::aWindowMayHaveNoTitleOrAnEmptyOne()
{
    desktop().open(u"one"_qs, std::nullopt);
    QCOMPARE(frontTitle(), std::optional<QString>());
    desktop().setTitle(u"one"_qs, QString());
    QCOMPARE(frontTitle(), std::optional(QString()));
}

void DesktopContract::aClosedWindowIsNotInFront()
{
    desktop().open(u"one"_qs, u"First"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    desktop().close(u"two"_qs);
    QVERIFY(frontIdentifier() != u"two"_qs);
    desktop().close(u"one"_qs);
    QCOMPARE(frontIdentifier(), u"(none)"_qs);
}

void DesktopContract::aWindowThatHasGoneHasNoTitle()
{
    desktop().open(u"one"_qs, u"First"_qs);
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    QVERIFY(desktop().windowTitle().focusedWindowTitle(*application));
    desktop().close(u"one"_qs);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*application), std::optional<QString>());
}

void DesktopContract::idleTimeGrowsAndInputResetsIt()
{
    desktop().makeInput();
    const double before = desktop().idleTime().secondsSinceLastInput();
    QVERIFY(before >= 0);
    desktop().letTimePass();
    const double later = desktop().idleTime().secondsSinceLastInput();
    QVERIFY(later > before);
    desktop().makeInput();
    QVERIFY(desktop().idleTime().secondsSinceLastInput() < later);
}

void DesktopContract::questionsMayComeInAnyOrder()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QCOMPARE(frontTitle(), std::optional(u"First"_qs));
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QCOMPARE(frontIdentifier(), u"one"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    QCOMPARE(frontIdentifier(), u"two"_qs);
    QCOMPARE(frontIdentifier(), u"two"_qs);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QCOMPARE(frontTitle(), std::optional(u"Second"_qs));
}

} // namespace contract
