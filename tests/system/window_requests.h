// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/agent.h"
#include "tests/support/assistive_reader.h"
#include "tests/support/child_process.h"

#include <QProcessEnvironment>
#include <QStringList>
#include <QTest>

#include <cstdint>
#include <optional>

/// The ways in which one of the program's windows can be asked for.
namespace requests {

enum class Way : std::uint8_t {
    Address,     ///< a second start with an address
    OpenCall,    ///< the address over the bus
    Action,      ///< a launcher's action over the bus
    ActionStart, ///< a launcher's action where there is no bus for it
    SecondStart, ///< nothing but a second start
    Menu,        ///< an entry of the icon's menu
    Shortcut,    ///< in another window
    Button,      ///< of another window
};

inline constexpr int kPatienceMs = 20000;

[[nodiscard]] inline bool leadsThroughAWindow(Way way)
{
    return way == Way::Shortcut || way == Way::Button;
}

[[nodiscard]] inline QStringList programs()
{
    return {QStringLiteral("gdbus")};
}

/// The button of another window that opens the window titled `title`; what it may be called.
[[nodiscard]] inline QStringList buttonFor(const QString& title)
{
    return title == QStringLiteral("Login")
               ? QStringList{QStringLiteral("Login"), QStringLiteral("Log In")}
               : QStringList{title};
}

[[nodiscard]] inline QString menuRowFor(const QString& title)
{
    if (title == QStringLiteral("Dashboard"))
        return QStringLiteral("Open Dashboard");
    return title == QStringLiteral("Login") ? QStringLiteral("Log In") : title;
}

/// The button in `window` with one of these names, once it is there.
[[nodiscard]] inline std::optional<support::AssistiveElement>
findAny(const support::AssistiveReader& reader, const QString& window, const QStringList& names)
{
    std::optional<support::AssistiveElement> found;
    static_cast<void>(QTest::qWaitFor(
        [&] {
            for (const QString& name : names) {
                found = reader.find(window, name, support::kRolePushButton);
                if (found && found->has(support::kStateShowing))
                    return true;
            }
            return false;
        },
        kPatienceMs));
    return found;
}

/// Calls a method of org.freedesktop.Application; true when there was an answer.
[[nodiscard]] inline bool
call(const QProcessEnvironment& environment, const QString& method, const QStringList& arguments)
{
    support::ChildProcess child;
    return child.start(
               QStringLiteral("gdbus"),
               QStringList{QStringLiteral("call"),
                           QStringLiteral("--session"),
                           QStringLiteral("--dest=com.velomira.UsageMonitor"),
                           QStringLiteral("--object-path=/com/velomira/UsageMonitor"),
                           QStringLiteral("--method=org.freedesktop.Application.") + method} +
                   arguments,
               environment) &&
           child.process().waitForFinished(kPatienceMs) && child.process().exitCode() == 0;
}

/// Platform data of a call: the right to come to the front, if there is one.
[[nodiscard]] inline QString platformData(const QString& token)
{
    return token.isEmpty() ? QStringLiteral("{}")
                           : QStringLiteral("{'activation-token': <'%1'>}").arg(token);
}

[[nodiscard]] inline bool openAddresses(const QProcessEnvironment& environment,
                                        const QStringList& addresses,
                                        const QString& token = {})
{
    return call(
        environment,
        QStringLiteral("Open"),
        {QStringLiteral("['") + addresses.join(QStringLiteral("', '")) + QStringLiteral("']"),
         platformData(token)});
}

/// Runs a further start of the program to its end; true when that was in order.
[[nodiscard]] inline bool
startAgain(QProcessEnvironment environment, const QStringList& arguments, const QString& token = {})
{
    if (!token.isEmpty())
        environment.insert(QStringLiteral("XDG_ACTIVATION_TOKEN"), token);
    support::Agent second(environment);
    return second.start(arguments) && second.waitForEnd() == 0;
}

/// Asks for the window of the scene `identifier` from outside, with the right to come to the front
/// in `token`. Returns when the program has been told.
[[nodiscard]] inline bool ask(const QProcessEnvironment& environment,
                              const QString& identifier,
                              Way way,
                              const QString& token = {})
{
    const QString address = QStringLiteral("velomira://") + identifier;
    switch (way) {
    case Way::Address:
        return startAgain(environment, {address}, token);
    case Way::OpenCall:
        return openAddresses(environment, {address}, token);
    case Way::Action:
        return call(environment,
                    QStringLiteral("ActivateAction"),
                    {identifier, QStringLiteral("[]"), platformData(token)});
    case Way::ActionStart:
        return startAgain(environment, {QStringLiteral("--action"), identifier}, token);
    case Way::SecondStart:
        return startAgain(environment, {}, token);
    default:
        return false; // not from outside
    }
}

/// Waits until the program has done everything that it was asked for before.
[[nodiscard]] inline bool hasAnswered(const support::Agent& agent,
                                      const QProcessEnvironment& environment)
{
    const QString word = QStringLiteral("\"no-such-action\"");
    const qsizetype before = agent.complaints().count(word);
    return call(environment,
                QStringLiteral("ActivateAction"),
                {QStringLiteral("no-such-action"), QStringLiteral("[]"), QStringLiteral("{}")}) &&
           QTest::qWaitFor([&] { return agent.complaints().count(word) > before; }, kPatienceMs);
}

/// Columns and rows for tests: every pair of windows, the one asked for and another one.
inline void everyPair()
{
    QTest::addColumn<QString>("asked");
    QTest::addColumn<QString>("other");
    const QStringList all{
        QStringLiteral("Dashboard"), QStringLiteral("Login"), QStringLiteral("Settings")};
    for (const QString& asked : all) {
        for (const QString& other : all) {
            if (asked != other)
                QTest::addRow("%s, not %s", qPrintable(asked), qPrintable(other)) << asked << other;
        }
    }
}

/// Every pair again, with every way in which the one can be asked for while the other is in front.
inline void everyPairAndWay()
{
    QTest::addColumn<bool>("isSignedIn");
    QTest::addColumn<QString>("asked");
    QTest::addColumn<QString>("other");
    QTest::addColumn<Way>("way");
    const QString dashboard = QStringLiteral("Dashboard");
    const QString login = QStringLiteral("Login");
    const QString settings = QStringLiteral("Settings");
    const auto rows = [](const char* name,
                         Way way,
                         bool isSignedIn,
                         const QString& asked,
                         const QStringList& others) {
        for (const QString& other : others) {
            QTest::addRow("%s, not %s, by %s", qPrintable(asked), qPrintable(other), name)
                << isSignedIn << asked << other << way;
        }
    };
    rows("address", Way::Address, true, dashboard, {login, settings});
    rows("address", Way::Address, true, login, {dashboard, settings});
    rows("call", Way::OpenCall, true, dashboard, {login, settings});
    rows("call", Way::OpenCall, true, login, {dashboard, settings});
    rows("action", Way::Action, true, dashboard, {login, settings});
    rows("action", Way::Action, true, login, {dashboard, settings});
    rows("action", Way::Action, true, settings, {dashboard, login});
    rows("--action", Way::ActionStart, true, dashboard, {login, settings});
    rows("--action", Way::ActionStart, true, login, {dashboard, settings});
    rows("--action", Way::ActionStart, true, settings, {dashboard, login});
    rows("menu", Way::Menu, true, dashboard, {login, settings});
    rows("menu", Way::Menu, true, settings, {dashboard, login});
    rows("shortcut", Way::Shortcut, true, dashboard, {login, settings});
    rows("shortcut", Way::Shortcut, true, settings, {dashboard, login});
    rows("button", Way::Button, true, settings, {dashboard});
    rows("menu", Way::Menu, false, login, {dashboard, settings});
    rows("button", Way::Button, false, login, {dashboard, settings});
}

} // namespace requests

Q_DECLARE_METATYPE(requests::Way)
