// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The question for a password as an operator meets it: at a real terminal, and through a pipe.
#include "base/password_prompt.h"
#include "tests/support/service_process.h"
#include "tests/support/test_program.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kPatienceMs = 60000;
constexpr tcflag_t kAsItWas = ECHO | ICANON | ISIG;

/// The service at a terminal of its own.
class AtTerminal final
{
public:
    explicit AtTerminal(const QList<QByteArray>& arguments)
    {
        std::vector<char*> argv;
        QList<QByteArray> all = QList<QByteArray>{SERVICE_EXECUTABLE} + arguments;
        for (QByteArray& argument : all)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        m_child = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_child == 0) {
            ::execv(argv.front(), argv.data());
            ::_exit(127);
        }
        ::fcntl(m_terminal, F_SETFL, O_NONBLOCK);
    }

    AtTerminal(const AtTerminal&) = delete;
    AtTerminal& operator=(const AtTerminal&) = delete;

    ~AtTerminal()
    {
        if (m_child > 0) {
            ::kill(m_child, SIGKILL);
            ::waitpid(m_child, nullptr, 0);
        }
        ::close(m_terminal);
    }

    /// Everything on the screen.
    [[nodiscard]] QByteArray screen()
    {
        char buffer[4096];
        for (ssize_t got = 0; (got = ::read(m_terminal, buffer, sizeof buffer)) > 0;)
            m_screen.append(buffer, got);
        return m_screen;
    }

    [[nodiscard]] bool shows(const char* text)
    {
        return QTest::qWaitFor([&] { return screen().contains(text); }, kPatienceMs);
    }

    /// Answers `question` with `keys`; false when it is not asked.
    [[nodiscard]] bool answer(const char* question, const QByteArray& keys)
    {
        return shows(question) && ::write(m_terminal, keys.constData(), keys.size()) == keys.size();
    }

    /// Its exit code; -1 when it does not end or was killed by a signal.
    [[nodiscard]] int waitForEnd()
    {
        int status = 0;
        const bool ended = QTest::qWaitFor(
            [&] {
                static_cast<void>(screen()); // or it could not write
                return ::waitpid(m_child, &status, WNOHANG) == m_child;
            },
            kPatienceMs);
        if (!ended)
            return -1;
        m_child = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// Whether keys are shown, lines are edited and Ctrl+C makes a signal again.
    [[nodiscard]] bool isAsItWas() const
    {
        termios now{};
        return ::tcgetattr(m_terminal, &now) == 0 && (now.c_lflag & kAsItWas) == kAsItWas;
    }

private:
    int m_terminal = -1;
    pid_t m_child = 0;
    QByteArray m_screen;
};

} // namespace

class TestPasswordInput final : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;
    support::ServiceProcess m_service;

    [[nodiscard]] QString database() const
    {
        return m_folder->filePath(QStringLiteral("service.sqlite"));
    }

    [[nodiscard]] QList<QByteArray> addUser() const
    {
        return {"--database", database().toUtf8(), "--add-user", "ada@example.org", "Ada"};
    }

    [[nodiscard]] QList<QByteArray> setPassword() const
    {
        return {"--database", database().toUtf8(), "--set-password", "ada@example.org"};
    }

    /// Runs the service with `input` in a pipe.
    [[nodiscard]] support::ServiceProcess::Run piped(const QList<QByteArray>& arguments,
                                                     const QByteArray& input) const
    {
        QStringList all;
        for (const QByteArray& argument : arguments)
            all += QString::fromUtf8(argument);
        return m_service.run(all, input);
    }

    [[nodiscard]] QString summary() const
    {
        return piped({"--database", database().toUtf8(), "--summary"}, {}).output;
    }

private Q_SLOTS:

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void atATerminalItIsAskedTwiceAndNotShown()
    {
        AtTerminal terminal(addUser());
        QVERIFY(terminal.answer("Password: ", "correct horse\n"));
        QVERIFY(terminal.answer("The same again: ", "correct horse\n"));
        QCOMPARE(terminal.waitForEnd(), 0);
        QVERIFY(terminal.screen().contains("added user 1"));
        QVERIFY(!terminal.screen().contains("horse"));
        QVERIFY(terminal.isAsItWas());
    }

    void twoDifferentAnswersChangeNothing()
    {
        AtTerminal terminal(addUser());
        QVERIFY(terminal.answer("Password: ", "correct horse\n"));
        QVERIFY(terminal.answer("The same again: ", "correct hores\n"));
        QCOMPARE(terminal.waitForEnd(), 1);
        QVERIFY2(terminal.screen().contains("differ"), terminal.screen().constData());
        QCOMPARE(summary(), QString());
    }

    void aNewPasswordIsAskedForTwiceAsWell()
    {
        QCOMPARE(piped(addUser(), "correct horse\n").code, 0);
        AtTerminal terminal(setPassword());
        QVERIFY(terminal.answer("Password: ", "another horse\n"));
        QVERIFY(terminal.answer("The same again: ", "no such horse\n"));
        QCOMPARE(terminal.waitForEnd(), 1);
    }

    void interruptedItLeavesTheTerminalAsItWas_data()
    {
        QTest::addColumn<bool>("second");
        QTest::newRow("at the first question") << false;
        QTest::newRow("at the second question") << true;
    }

    void interruptedItLeavesTheTerminalAsItWas()
    {
        QFETCH(const bool, second);
        AtTerminal terminal(addUser());
        if (second)
            QVERIFY(terminal.answer("Password: ", "correct horse\n"));
        QVERIFY(terminal.answer(second ? "The same again: " : "Password: ", "cor\x03"));
        QCOMPARE(terminal.waitForEnd(), 1);
        QVERIFY(terminal.isAsItWas());
        QVERIFY2(terminal.screen().contains("interrupted"), terminal.screen().constData());
        QCOMPARE(summary(), QString());
    }

    void tenCharactersAreWanted_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("nine letters") << QByteArray("123456789\n") << false;
        QTest::newRow("ten letters") << QByteArray("1234567890\n") << true;
        QTest::newRow("nine of two bytes") << QByteArray("\u00e9").repeated(9) + '\n' << false;
        QTest::newRow("ten of two bytes") << QByteArray("\u00e9").repeated(10) << true;
        QTest::newRow("nine and the end of a line elsewhere")
            << QByteArray("123456789\r\n") << false;
        QTest::newRow("none") << QByteArray("\n") << false;
    }

    void tenCharactersAreWanted()
    {
        QFETCH(const QByteArray, input);
        QFETCH(const bool, isTaken);
        const auto added = piped(addUser(), input);
        QCOMPARE(added.code, isTaken ? 0 : 1);
        QCOMPARE(summary().isEmpty(), !isTaken);
        QCOMPARE(piped(addUser(), "correct horse\n").code, isTaken ? 1 : 0);
        const auto changed = piped(setPassword(), input);
        QCOMPARE(changed.code, isTaken ? 0 : 1);
        QVERIFY(isTaken || changed.complaint.contains(QStringLiteral("password")));
    }

    void aSecretLeavesNothingWhereItWas()
    {
        terminal::Secret secret;
        for (const char c : QByteArray("correct hors\u00e9"))
            QVERIFY(secret.append(c));
        const char* const place = secret.view().data();
        const std::size_t size = secret.view().size();
        secret.eraseLast();
        QCOMPARE(secret.characters(), 12U);
        secret.clear();
        QVERIFY(std::all_of(place, place + size, [](char c) { return c == 0; }));
    }
};

QUILLSTEP_TEST(TestPasswordInput)
#include "tst_password_input.moc"
