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
    QTRY_COMPARE(frontIdentifier(), u"(none)"_qs);
}

void DesktopContract::theFocusedWindowsApplicationIsInFront()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontIdentifier(), u"one"_qs);
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->bundleIdentifier, std::optional(u"one"_qs));
    QCOMPARE(application->localizedName, std::optional(u"one"_qs));
    QVERIFY(application->window != 0);
    QVERIFY(application->processIdentifier >= 0);
}

void DesktopContract::aChangeOfFocusIsSeen()
{
    desktop().open(u"one"_qs, u"First"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    QTRY_COMPARE(frontIdentifier(), u"two"_qs);
    desktop().focus(u"one"_qs);
    QTRY_COMPARE(frontIdentifier(), u"one"_qs);
    desktop().focus(u"two"_qs);
    QTRY_COMPARE(frontIdentifier(), u"two"_qs);
}

// A desktop that tells only of the window in front has no title for another one, but never that of
// the wrong one.
void DesktopContract::aTitleIsNeverThatOfAnotherWindow()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_qs));
    const auto first = desktop().frontmostApplication().frontmostApplication();
    desktop().open(u"two"_qs, u"Second"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"Second"_qs));
    const auto second = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(first && second);
    QVERIFY(first->window != second->window);
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*second), std::optional(u"Second"_qs));
    QCOMPARE(desktop().windowTitle().focusedWindowTitle(*first).value_or(u"First"_qs), u"First"_qs);
}

void DesktopContract::aChangeOfTitleIsSeen()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_qs));
    desktop().setTitle(u"one"_qs, u"Grüße 😀"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"Grüße 😀"_qs));
}

void DesktopContract::aWindowMayHaveNoTitleOrAnEmptyOne()
{
    desktop().open(u"one"_qs, std::nullopt);
    QTRY_COMPARE(frontIdentifier(), u"one"_qs);
    QCOMPARE(frontTitle().value_or(QString()), QString());
    desktop().setTitle(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_qs));
    desktop().setTitle(u"one"_qs, QString());
    QTRY_COMPARE(frontTitle().value_or(QString()), QString());
}

void DesktopContract::aClosedWindowIsNotInFront()
{
    desktop().open(u"one"_qs, u"First"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    QTRY_COMPARE(frontIdentifier(), u"two"_qs);
    desktop().close(u"two"_qs);
    QTRY_VERIFY(frontIdentifier() != u"two"_qs);
    desktop().close(u"one"_qs);
    QTRY_COMPARE(frontIdentifier(), u"(none)"_qs);
}

void DesktopContract::aWindowThatHasGoneHasNoTitle()
{
    desktop().open(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_qs));
    const auto application = desktop().frontmostApplication().frontmostApplication();
    QVERIFY(application);
    desktop().close(u"one"_qs);
    QTRY_COMPARE(desktop().windowTitle().focusedWindowTitle(*application),
                 std::optional<QString>());
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
    desktop().open(u"one"_qs, u"First"_qs);
    QTRY_COMPARE(frontTitle(), std::optional(u"First"_qs));
    desktop().makeInput();
    QTRY_VERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QTRY_COMPARE(frontIdentifier(), u"one"_qs);
    desktop().open(u"two"_qs, u"Second"_qs);
    QTRY_COMPARE(frontIdentifier(), u"two"_qs);
    QCOMPARE(frontIdentifier(), u"two"_qs);
    QVERIFY(desktop().idleTime().secondsSinceLastInput() >= 0);
    QCOMPARE(frontTitle(), std::optional(u"Second"_qs));
}

} // namespace contract
