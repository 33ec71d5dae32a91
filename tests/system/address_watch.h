// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/system/browser_desktop.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>

/// Looks at what ticks would record while a browser is driven, and finds every address that they
/// should not.
/// Main thread. Runs the event loop.
class AddressWatch final
{
public:
    explicit AddressWatch(BrowserDesktop& desktop)
        : m_desktop(desktop)
    {
    }

    /// The window in front comes to show a page with the title `title`, and at most a second later
    /// `address` is known, to stay. Meanwhile nothing is known but that and what was before.
    [[nodiscard]] platform::Outcome comesTo(const QString& title, const QString& address)
    {
        if (const auto shown = waitForTitle(title, address); !shown)
            return shown;
        QElapsedTimer sinceShown;
        sinceShown.start();
        while (m_desktop.address() != address) {
            if (const auto sound = check(address); !sound)
                return sound;
            if (sinceShown.elapsed() > kLimitMs)
                return platform::Error{QStringLiteral("\"%1\" is in front, but %2 is not known: %3")
                                           .arg(m_desktop.title(), address, m_desktop.address())};
            QTest::qWait(1);
        }
        m_longestMs = std::max(m_longestMs, sinceShown.elapsed());
        m_before = address;
        return staysFor(kLooks, address);
    }

    /// The window in front comes to show `title`, and at most a second later nothing is known, for
    /// `looks` looks.
    [[nodiscard]] platform::Outcome comesToNothing(const QString& title, int looks = kLooks)
    {
        if (const auto shown = waitForTitle(title, QString()); !shown)
            return shown;
        if (!QTest::qWaitFor([this] { return m_desktop.address().isEmpty(); }, kLimitMs))
            return platform::Error{QStringLiteral("still known: ") + m_desktop.address()};
        m_before.clear();
        return staysFor(looks, QString());
    }

    /// Nothing is known now, for `looks` looks.
    [[nodiscard]] platform::Outcome staysAtNothing(int looks)
    {
        m_before.clear();
        if (const QString known = m_desktop.address(); !known.isEmpty())
            return platform::Error{QStringLiteral("known at once: ") + known};
        return staysFor(looks, QString());
    }

    /// Of all changes so far, from the window's title on the screen to the known address.
    [[nodiscard]] qint64 longestMs() const { return m_longestMs; }

private:
    static constexpr int kPatienceMs = 30000; // for the browser, on a loaded machine
    static constexpr int kLimitMs = 10000;    // likewise; longestMs() tells what is usual
    static constexpr int kLooks = 50;

    [[nodiscard]] platform::Outcome waitForTitle(const QString& title, const QString& address)
    {
        QElapsedTimer waited;
        waited.start();
        while (!m_desktop.title().startsWith(title)) {
            if (const auto sound = check(address); !sound)
                return sound;
            if (waited.elapsed() > kPatienceMs)
                return platform::Error{
                    QStringLiteral("\"%1\" does not come to the front, but \"%2\"")
                        .arg(title, m_desktop.title())};
            QTest::qWait(1);
        }
        return platform::success();
    }

    /// What is known is `address`, nothing, or what was before.
    [[nodiscard]] platform::Outcome check(const QString& address)
    {
        const QString known = m_desktop.address();
        if (known.isEmpty() || known == address || known == m_before)
            return platform::success();
        return platform::Error{QStringLiteral("wrongly known: ") + known};
    }

    [[nodiscard]] platform::Outcome staysFor(int looks, const QString& address)
    {
        for (int look = 0; look < looks; ++look) {
            QTest::qWait(2);
            if (const QString known = m_desktop.address(); known != address)
                return platform::Error{
                    QStringLiteral("known is \"%1\" instead of \"%2\", at look %3")
                        .arg(known, address)
                        .arg(look)};
        }
        return platform::success();
    }

    BrowserDesktop& m_desktop;
    QString m_before;
    qint64 m_longestMs = 0;
};

/// Ends the test function with the text of a failure.
#define REQUIRE(expression)                                                                        \
    do {                                                                                           \
        const auto outcome = (expression);                                                         \
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));                        \
    } while (false)
