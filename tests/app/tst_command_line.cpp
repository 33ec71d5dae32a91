// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/command_line.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <initializer_list>

using app::CommandLine;
using app::readCommandLine;

Q_DECLARE_METATYPE(CommandLine)

namespace {

QTestData& row(const char* name, std::initializer_list<const char*> arguments)
{
    QStringList all(QStringLiteral("Quillstep"));
    for (const char* argument : arguments)
        all += QString::fromUtf8(argument);
    return QTest::newRow(name) << all;
}

CommandLine runs(CommandLine::Task task)
{
    CommandLine expected;
    expected.task = task;
    return expected;
}

CommandLine opens(const char* url)
{
    CommandLine expected;
    expected.url = QString::fromUtf8(url);
    return expected;
}

CommandLine does(const char* action)
{
    CommandLine expected;
    expected.action = QString::fromUtf8(action);
    return expected;
}

} // namespace

class TestCommandLine final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void isUnderstood_data()
    {
        using Task = CommandLine::Task;
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<CommandLine>("expected");
        CommandLine signIn = runs(Task::SignIn);
        signIn.email = QStringLiteral("a@b");
        CommandLine byBus;
        byBus.isStartedByBus = true;
        row("nothing", {}) << CommandLine();
        row("diagnose", {"--diagnose"}) << runs(Task::Diagnose);
        row("sign in", {"--sign-in", "a@b"}) << signIn;
        row("sign out", {"--sign-out"}) << runs(Task::SignOut);
        row("address", {"velomira://login"}) << opens("velomira://login");
        row("any case", {"VeloMira:Login?a=%20"}) << opens("VeloMira:Login?a=%20");
        row("after the options", {"--", "velomira:x"}) << opens("velomira:x");
        for (const char* action : {"dashboard", "login", "settings", "quit"})
            row(action, {"--action", action}) << does(action);
        row("by the bus", {"--gapplication-service"}) << byBus;
        row("by the session manager", {"velomira:x", "-session", "1_0"}) << opens("velomira:x");
        row("session without id", {"-session"}) << CommandLine();
    }

    void isUnderstood()
    {
        QFETCH(QStringList, arguments);
        QFETCH(CommandLine, expected);
        const auto read = readCommandLine(arguments);
        QVERIFY2(read, read ? "" : qPrintable(read.error().text));
        QCOMPARE(read.value().task, expected.task);
        QCOMPARE(read.value().email, expected.email);
        QCOMPARE(read.value().url, expected.url);
        QCOMPARE(read.value().action, expected.action);
        QCOMPARE(read.value().isStartedByBus, expected.isStartedByBus);
    }

    void isRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text");
        const QString exclude =
            QStringLiteral("an address, an action and another command exclude each other");
        row("word", {"argument"}) << QStringLiteral("unexpected argument \"argument\"");
        row("empty", {""}) << QStringLiteral("unexpected argument \"\"");
        row("other scheme", {"http://velomira"})
            << QStringLiteral("unexpected argument \"http://velomira\"");
        row("scheme alone", {"velomira"}) << QStringLiteral("unexpected argument \"velomira\"");
        row("two addresses", {"velomira:a", "velomira:b"})
            << QStringLiteral("unexpected argument \"velomira:b\"");
        row("unknown option", {"--nonsense"}) << QStringLiteral("Unknown option 'nonsense'");
        row("unknown action", {"--action", "dance"})
            << QStringLiteral("there is no action \"dance\"");
        row("empty action", {"--action", ""}) << QStringLiteral("there is no action \"\"");
        row("no action", {"--action"}) << QStringLiteral("Missing value after '--action'");
        row("no e-mail", {"--sign-in", ""}) << QStringLiteral("--sign-in needs an e-mail address");
        row("two commands", {"--diagnose", "--sign-out"}) << QStringLiteral(
            "--diagnose, --sign-in, --sign-out and --install-browser-support exclude each other");
        row("command and address", {"--diagnose", "velomira:a"}) << exclude;
        row("action and address", {"--action", "quit", "velomira:a"}) << exclude;
        row("bus and address", {"--gapplication-service", "velomira:a"}) << exclude;
    }

    void isRefused()
    {
        QFETCH(QStringList, arguments);
        const auto read = readCommandLine(arguments);
        QVERIFY(!read);
        QTEST(read.error().text, "text");
    }
};

QUILLSTEP_TEST(TestCommandLine)
#include "tst_command_line.moc"
