// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/platform/contract/desktop_contract.h"

#include "tests/support/test_program.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace contract {

QString DesktopContract::frontIdentifier()
{
    const auto application = desktop().frontmostApplication().frontmostApplication();
    return application ? application->bundleIdentifier.value_or(u"(no identifier)"_s) : u"(none)"_s;
}

std::optional<QString> DesktopContract::frontTitle()
{
    const auto application = desktop().frontmostApplication().frontmostApplication();
    return application ? desktop().windowTitle().focusedWindowTitle(*application) : std::nullopt;
}

void DesktopContract::waitUntilNothingIsInFront()
{
    QTRY_COMPARE(frontIdentifier(), u"(none)"_s);
}

void DesktopContract::withoutWindowsNothingIsInFront()
{
    QTRY_COMPARE(frontIdentifier(), u"(none)"_s);
}

void DesktopContract::theFocusedWindowsApplicationIsInFront()
{
    desktop().open(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontIdentifier(), u"one"_s);
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->bundleIdentifier, std::optional(u"one"_s));
    QCOMPARE(application->localizedName, std::optional(u"one"_s));
    QVERIFY(application->window != 0);
    QVERIFY(application->processIdentifier >= 0);
}

void DesktopContract::aChangeOfFocusIsSeen()
{
    desktop().open(u"one"_s, u"First"_s);
    desktop().open(u"two"_s, u"Second"_s);
    QTRY_COMPARE(frontIdentifier(), u"two"_s);
    desktop().focus(u"one"_s);
    QTRY_COMPARE(frontIdentifier(), u"one"_s);
    desktop().focus(u"two"_s);
    QTRY_COMPARE(frontIdentifier(), u"two"_s);
}

// A desktop that tells only of the window in front has no title for another one, but never that of
// the wrong one.
void DesktopContract::aTitleIsNeverThatOfAnotherWindow()
{
    desktop().open(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_s));
    const auto first = desktop().frontmostApplication().frontmostApplication();
    desktop().open(u"two"_s, u"Second"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"Second"_s));
    const auto second = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(first && second);
    QVERIFY(first->window != second->window);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*second), std::optional(u"Second"_s));
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*first).value_or(u"First"_s), u"First"_s);
}

void DesktopContract::aChangeOfTitleIsSeen()
{
    desktop().open(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_s));
    desktop().setTitle(u"one"_s, u"Grüße 😀"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"Grüße 😀"_s));
}

void DesktopContract::aWindowMayHaveNoTitleOrAnEmptyOne()
{
    desktop().open(u"one"_s, std::nullopt);
    QTRY_COMPARE(frontIdentifier(), u"one"_s);
    QCOMPARE(frontTitle().value_or(QString()), QString());
    desktop().setTitle(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_s));
    desktop().setTitle(u"one"_s, QString());
    QTRY_COMPARE(frontTitle().value_or(QString()), QString());
}

void DesktopContract::aClosedWindowIsNotInFront()
{
    desktop().open(u"one"_s, u"First"_s);
    desktop().open(u"two"_s, u"Second"_s);
    QTRY_COMPARE(frontIdentifier(), u"two"_s);
    desktop().close(u"two"_s);
    QTRY_VERIFY(frontIdentifier() != u"two"_s);
    desktop().close(u"one"_s);
    QTRY_COMPARE(frontIdentifier(), u"(none)"_s);
}

void DesktopContract::aWindowThatHasGoneHasNoTitle()
{
    desktop().open(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_s));
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    desktop().close(u"one"_s);
    QTRY_COMPARE(frontIdentifier(), u"(none)"_s);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*application), std::optional<QString>());
}

void DesktopContract::idleTimeGrowsAndInputResetsIt()
{
    desktop().makeInput();
    QTRY_VERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    desktop().letTimePass();
    const double later = desktop().idleTime().secondsSinceLastInput();
    QVERIFY(later >= 1);
    desktop().makeInput();
    QTRY_VERIFY(desktop().idleTime().secondsSinceLastInput() < later);
}

void DesktopContract::questionsMayComeInAnyOrder()
{
    desktop().open(u"one"_s, u"First"_s);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_s));
    desktop().makeInput();
    QTRY_VERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QTRY_COMPARE(frontIdentifier(), u"one"_s);
    desktop().open(u"two"_s, u"Second"_s);
    QTRY_COMPARE(frontIdentifier(), u"two"_s);
    QCOMPARE(frontIdentifier(), u"two"_s);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QCOMPARE(frontTitle(), std::optional(u"Second"_s));
}

} // namespace contract
