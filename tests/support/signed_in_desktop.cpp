// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/signed_in_desktop.h"

#include "tests/support/x11_client.h"

#include <QTest>

namespace support {

namespace {

constexpr int kPatienceMs = 20000;
const QString kDashboard = QStringLiteral("Dashboard");

QStringList linesOf(const QStringList& arguments, const QProcessEnvironment& environment)
{
    ChildProcess xdotool;
    if (!xdotool.start(QStringLiteral("xdotool"), arguments, environment) ||
        !xdotool.process().waitForFinished(kPatienceMs))
        return {};
    return QString::fromLatin1(xdotool.process().readAllStandardOutput())
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

QStringList SignedInDesktop::programs()
{
    return HeadlessX11::programs() + Keyring::programs() + QStringList{QStringLiteral("xdotool")};
}

platform::Outcome SignedInDesktop::start(Account account)
{
    if (const auto started = m_x11.start(); !started)
        return started;
    if (const auto started = m_keyring.startBus(); !started)
        return started;
    if (const auto started = m_keyring.startUnlocked(); !started)
        return started;
    if (account == Account::SignedIn && !m_keyring.storeSession("a token of an earlier run"))
        return platform::Error{QStringLiteral("the keyring does not keep the session")};
    return platform::success();
}

QProcessEnvironment SignedInDesktop::environment() const
{
    QProcessEnvironment environment = m_x11.environment();
    const QString address = QStringLiteral("DBUS_SESSION_BUS_ADDRESS");
    environment.insert(address, m_keyring.environment().value(address));
    return environment;
}

QStringList SignedInDesktop::windowsTitled(const QString& title) const
{
    return linesOf({QStringLiteral("search"),
                    QStringLiteral("--onlyvisible"),
                    QStringLiteral("--name"),
                    QLatin1Char('^') + title + QLatin1Char('$')},
                   environment());
}

QString SignedInDesktop::focusedTitle() const
{
    return linesOf({QStringLiteral("getactivewindow"), QStringLiteral("getwindowname")},
                   environment())
        .value(0);
}

platform::Outcome SignedInDesktop::startTracking(Agent& agent, const QStringList& arguments)
{
    if (const auto started = agent.start(arguments); !started)
        return started;
    if (!QTest::qWaitFor([&] { return windowsTitled(kDashboard).size() == 1; }, kPatienceMs))
        return platform::Error{QStringLiteral("the dashboard does not open")};
    return closeWindow(kDashboard);
}

platform::Outcome SignedInDesktop::closeWindow(const QString& title) const
{
    const X11Client client(m_x11.display());
    for (const QString& window : windowsTitled(title))
        client.sendToWindowManager(window.toUInt(), "_NET_CLOSE_WINDOW");
    client.sync();
    if (!QTest::qWaitFor([&] { return windowsTitled(title).isEmpty(); }, kPatienceMs))
        return platform::Error{QStringLiteral("the window \"%1\" does not close").arg(title)};
    return platform::success();
}

} // namespace support
