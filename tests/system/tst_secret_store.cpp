// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// The store of secrets with a real keyring on a private session bus, and with none.
#include "tests/support/keyring.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/secret_client_process.h"
#include "tests/system/verify_outcome.h"

#include <QTest>

using support::Keyring;
using support::SecretClient;

namespace {

constexpr const char* kPrompter = "org.gnome.keyring.SystemPrompter";

QString text(const char* words)
{
    return QString::fromUtf8(words);
}

/// What an operation came to, and after how many milliseconds.
struct Outcome
{
    explicit Outcome(const QString& answer)
        : result(answer.section(u' ', 0, -2))
        , milliseconds(answer.section(u' ', -1).toInt())
    {
    }

    QString result;
    int milliseconds;
};

/// A peer that owns `name` on the bus and never answers.
[[nodiscard]] bool
startSilentPeer(support::ChildProcess& peer, const Keyring& keyring, const char* name)
{
    if (!peer.start(QStringLiteral(SILENT_PEER_EXECUTABLE), {text(name)}, keyring.environment()))
        return false;
    return QTest::qWaitFor([&peer] { return peer.process().canReadLine(); }, 20000);
}

/// How many items secret-tool lists.
qsizetype itemsOf(const Keyring& keyring, const char* account)
{
    return keyring.search(text(account)).count(text("schema = com.velomira.UsageMonitor"));
}

/// The event loop of the client has never been away for long: who waits for an answer waits 400 ms
/// at least.
#define VERIFY_TICKING(client)                                                                     \
    do {                                                                                           \
        const double gap = (client).longestGap();                                                  \
        m_longestGap = std::max(m_longestGap, gap);                                                \
        QVERIFY2(gap > 0 && gap < 200, qPrintable(QString::number(gap)));                          \
    } while (false)

} // namespace

class TestSecretStore final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase() { REQUIRE_PROGRAMS(Keyring::programs()); }

    void cleanupTestCase() { qInfo("the longest gap of an event loop was %.1f ms", m_longestGap); }

    void aSavedSecretSurvivesARestartOfTheKeyring()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("none"));
        QCOMPARE(Outcome(client.ask(text("save a tök en=1 "))).result, text("yes"));
        QCOMPARE(keyring.lookup(text("a")), QByteArray("tök en=1 "));
        QVERIFY(keyring.search(text("a")).contains(text("label = Velomira Usage Monitor sign-in")));
        QCOMPARE(Outcome(client.ask(text("read b"))).result, text("none"));

        keyring.kill();
        VERIFY_OUTCOME(keyring.startUnlocked());
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=tök en=1 "));
        QCOMPARE(Outcome(client.ask(text("save a two"))).result, text("yes"));
        SecretClient later;
        QVERIFY(later.start(keyring.environment()));
        QCOMPARE(Outcome(later.ask(text("read a"))).result, text("=two"));
        VERIFY_TICKING(client);
        VERIFY_TICKING(later);
        QCOMPARE(client.finish(), 0);
    }

    void aSecondSaveReplacesTheFirstAndRemovingRemoves()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("save a one"))).result, text("yes"));
        QCOMPARE(Outcome(client.ask(text("save a two"))).result, text("yes"));
        QCOMPARE(Outcome(client.ask(text("save b other"))).result, text("yes"));
        QCOMPARE(itemsOf(keyring, "a"), 1);
        QCOMPARE(keyring.lookup(text("a")), QByteArray("two"));
        QCOMPARE(Outcome(client.ask(text("remove a"))).result, text("yes"));
        QCOMPARE(itemsOf(keyring, "a"), 0);
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("none"));
        QCOMPARE(Outcome(client.ask(text("read b"))).result, text("=other"));
        QCOMPARE(Outcome(client.ask(text("remove a"))).result, text("yes"));
        VERIFY_TICKING(client);
        QVERIFY(client.otherLines().isEmpty());
    }

    void ofSeveralItemsTheOneModifiedLastIsReadAndAllAreRemoved()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("save a older"))).result, text("yes"));
        // Times are whole seconds, and a secret that stays the same is not modified: it takes until
        // the next second and another secret for an item to be the newest.
        int saves = 0;
        const auto newerIsRead = [&] {
            const QString secret = text("newer ") + QString::number(++saves);
            return keyring.store(text("session"), text("a"), secret.toUtf8()) &&
                   Outcome(client.ask(text("read a"))).result == u'=' + secret;
        };
        QTRY_VERIFY(newerIsRead());
        QCOMPARE(itemsOf(keyring, "a"), 2);
        const auto olderIsReadAgain = [&] {
            const QString secret = text("saved again ") + QString::number(++saves);
            return Outcome(client.ask(text("save a ") + secret)).result == text("yes") &&
                   Outcome(client.ask(text("read a"))).result == u'=' + secret;
        };
        QTRY_VERIFY(olderIsReadAgain());
        QCOMPARE(itemsOf(keyring, "a"), 2);
        QCOMPARE(Outcome(client.ask(text("remove a"))).result, text("yes"));
        QCOMPARE(itemsOf(keyring, "a"), 0);
        VERIFY_TICKING(client);
    }

    void whatIsAskedAtOnceHappensInOrder()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        client.say(text("save a 1\nread a\nsave b x\nremove b\nread b\nread c"));
        QCOMPARE(Outcome(client.answer(text("save a "))).result, text("yes"));
        QCOMPARE(Outcome(client.answer(text("read a "))).result, text("=1"));
        QCOMPARE(Outcome(client.answer(text("save b "))).result, text("no")); // superseded
        QCOMPARE(Outcome(client.answer(text("remove b "))).result, text("yes"));
        QCOMPARE(Outcome(client.answer(text("read b "))).result, text("none"));
        QCOMPARE(Outcome(client.answer(text("read c "))).result, text("none"));

        for (int i = 0; i < 20; ++i)
            client.say(text("save d %1").arg(i));
        QCOMPARE(Outcome(client.ask(text("read d"))).result, text("=19"));
        QCOMPARE(itemsOf(keyring, "d"), 1);
        VERIFY_TICKING(client);
    }

    void aLockedKeyringIsNotPromptedForAndIsReadWhenUnlocked()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient first;
        QVERIFY(first.start(keyring.environment()));
        QCOMPARE(Outcome(first.ask(text("save a token"))).result, text("yes"));
        QVERIFY(Outcome(first.ask(text("state"))).result == text("unlocked"));
        keyring.kill();
        VERIFY_OUTCOME(keyring.startLocked());
        support::ChildProcess prompter; // would hold up whoever prompts
        QVERIFY(startSilentPeer(prompter, keyring, kPrompter));

        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        const Outcome locked(client.ask(text("read a")));
        QCOMPARE(locked.result, text("none"));
        QVERIFY2(locked.milliseconds < 3000, qPrintable(QString::number(locked.milliseconds)));
        QCOMPARE(Outcome(client.ask(text("read nothing"))).result, text("none"));
        QCOMPARE(Outcome(client.ask(text("state"))).result, text("locked"));
        QVERIFY(client.otherLines().isEmpty());
        VERIFY_OUTCOME(keyring.unlock());
        QVERIFY(!client.answer(text("readable")).isNull());
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        VERIFY_OUTCOME(keyring.lock());
        VERIFY_OUTCOME(keyring.unlock());
        // The watch has ended with what it waited for.
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        QVERIFY(client.otherLines().isEmpty());
        VERIFY_TICKING(client);
    }

    void aKeyringThatAppearsIsReadable()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        for (const char* command : {"save a token", "read a", "remove a"}) {
            const Outcome absent(client.ask(text(command)));
            QVERIFY(absent.result == text("no") || absent.result == text("none"));
            QVERIFY2(absent.milliseconds < 3000, qPrintable(QString::number(absent.milliseconds)));
        }
        QCOMPARE(Outcome(client.ask(text("state"))).result, text("no service on the session bus"));
        QVERIFY(client.otherLines().isEmpty());
        VERIFY_OUTCOME(keyring.startUnlocked());
        QVERIFY(!client.answer(text("readable")).isNull());
        QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("yes"));
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        VERIFY_TICKING(client);
    }

    void withoutASessionBusEverythingFailsAtOnce()
    {
        Keyring home;
        VERIFY_OUTCOME(home.startBus());
        QProcessEnvironment environment = home.environment();
        environment.remove(text("DBUS_SESSION_BUS_ADDRESS"));
        QProcessEnvironment dead = home.environment();
        home.killBus();
        for (const QProcessEnvironment& one : {environment, dead}) {
            SecretClient client;
            QVERIFY(client.start(one));
            QCOMPARE(Outcome(client.ask(text("read a"))).result, text("none"));
            QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("no"));
            QCOMPARE(Outcome(client.ask(text("remove a"))).result, text("no"));
            const Outcome state(client.ask(text("state")));
            QCOMPARE(state.result, text("no session bus"));
            QVERIFY2(state.milliseconds < 3000, qPrintable(QString::number(state.milliseconds)));
            VERIFY_TICKING(client);
            QCOMPARE(client.finish(), 0);
        }
    }

    void losingTheBusEndsNeitherTheProcessNorTheStore()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startLocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("none"));
        keyring.killBus();
        QTRY_COMPARE(Outcome(client.ask(text("state"))).result, text("no session bus"));
        QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("no"));
        VERIFY_TICKING(client);
        QCOMPARE(client.finish(), 0);
    }

    void aKeyringKilledDuringACallIsAFailureAndTheNextOneIsUsed()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("yes"));
        for (const char* command : {"read a", "save a other", "remove a"}) {
            keyring.pause();
            client.say(text(command));
            client.say(text("gap"));
            QVERIFY(!client.answer(text("gap")).isNull()); // so it has begun
            keyring.kill();
            const Outcome killed(client.answer(text(command).left(8).section(u' ', 0, 1)));
            QVERIFY(killed.result == text("none") || killed.result == text("no"));
            QVERIFY2(killed.milliseconds < 3000, qPrintable(QString::number(killed.milliseconds)));
            VERIFY_OUTCOME(keyring.startUnlocked());
            QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        }
        VERIFY_TICKING(client);
    }

    void aKeyringThatDoesNotAnswerCostsTheLimitAndNoMore()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        support::ChildProcess peer;
        QVERIFY(startSilentPeer(peer, keyring, "org.freedesktop.secrets"));
        SecretClient client;
        QVERIFY(client.start(keyring.environment(), 600, 3000));
        client.say(text("read a\nsave b token\nremove c\nread b\nstate"));
        const Outcome read(client.answer(text("read a ")));
        QCOMPARE(read.result, text("none"));
        QVERIFY2(read.milliseconds >= 600 && read.milliseconds < 2500,
                 qPrintable(QString::number(read.milliseconds)));
        const Outcome waiting(client.answer(text("read b ")));
        QCOMPARE(waiting.result, text("none"));
        QVERIFY2(waiting.milliseconds < 2500, qPrintable(QString::number(waiting.milliseconds)));
        QCOMPARE(Outcome(client.answer(text("state "))).result, text("does not answer"));
        for (const char* change : {"save b ", "remove c "}) {
            const Outcome outcome(client.answer(text(change)));
            QCOMPARE(outcome.result, text("no"));
            QVERIFY2(outcome.milliseconds >= 3000 && outcome.milliseconds < 8000,
                     qPrintable(QString::number(outcome.milliseconds)));
        }
        QVERIFY(client.otherLines().isEmpty());
        peer.stop();
        VERIFY_OUTCOME(keyring.startUnlocked());
        QVERIFY(!client.answer(text("readable")).isNull());
        QCOMPARE(Outcome(client.ask(text("save b token"))).result, text("yes"));
        VERIFY_TICKING(client);
    }

    void aKeyringThatHungIsReadableWhenItGoesOn()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment(), 1500));
        QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("yes"));
        keyring.pause();
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("none"));
        QCOMPARE(Outcome(client.ask(text("state"))).result, text("does not answer"));
        QVERIFY(client.otherLines().isEmpty());
        keyring.resume();
        QVERIFY(!client.answer(text("readable")).isNull());
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        VERIFY_TICKING(client);
    }

    void aPromptThatNobodyAnswersEndsAtItsLimit()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment(), 400, 1500));
        QCOMPARE(Outcome(client.ask(text("save a old"))).result, text("yes"));
        VERIFY_OUTCOME(keyring.lock());
        support::ChildProcess prompter;
        QVERIFY(startSilentPeer(prompter, keyring, kPrompter));

        client.say(text("save a new\nread a"));
        const Outcome read(client.answer(text("read a ")));
        QCOMPARE(read.result, text("none"));
        QVERIFY2(read.milliseconds < 1400, qPrintable(QString::number(read.milliseconds)));
        const Outcome save(client.answer(text("save a ")));
        QCOMPARE(save.result, text("no"));
        QVERIFY2(save.milliseconds >= 1500 && save.milliseconds < 6500,
                 qPrintable(QString::number(save.milliseconds)));
        const Outcome removal(client.ask(text("remove a")));
        QCOMPARE(removal.result, text("no"));
        QVERIFY2(removal.milliseconds >= 1500 && removal.milliseconds < 6500,
                 qPrintable(QString::number(removal.milliseconds)));
        VERIFY_OUTCOME(keyring.unlock());
        QCOMPARE(keyring.lookup(text("a")), QByteArray("old"));
        VERIFY_TICKING(client);
    }

    void aNewerSaveEndsTheOneThatWaitsForThePrompt()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startLocked());
        support::ChildProcess prompter;
        QVERIFY(startSilentPeer(prompter, keyring, kPrompter));
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        client.say(text("save a first"));
        QCOMPARE(Outcome(client.ask(text("finish 300"))).result, text("no"));
        client.say(text("save a second"));
        const Outcome first(client.answer(text("save a ")));
        QCOMPARE(first.result, text("no"));
        QVERIFY2(first.milliseconds < 9000, qPrintable(QString::number(first.milliseconds)));
        VERIFY_OUTCOME(keyring.unlock());
        client.say(text("save a third"));
        const QString second = Outcome(client.answer(text("save a "))).result;
        QVERIFY(second == text("no") || second == text("yes")); // before the third, it may succeed
        QCOMPARE(Outcome(client.ask(text("finish 5000"))).result, text("yes"));
        QCOMPARE(Outcome(client.answer(text("save a "))).result, text("yes"));
        QCOMPARE(keyring.lookup(text("a")), QByteArray("third"));
        VERIFY_TICKING(client);
    }

    void aStoreThatIsDestroyedEndsWhatIsUnderWay()
    {
        Keyring keyring;
        VERIFY_OUTCOME(keyring.startBus());
        VERIFY_OUTCOME(keyring.startUnlocked());
        SecretClient client;
        QVERIFY(client.start(keyring.environment()));
        QCOMPARE(Outcome(client.ask(text("save a token"))).result, text("yes"));
        for (const bool hangs : {false, true}) {
            if (hangs)
                keyring.pause();
            client.say(text("read a\nsave b x\nremove c\nstate\nread b\ndrop"));
            QCOMPARE(Outcome(client.answer(text("read a "))).result, text("none"));
            QCOMPARE(Outcome(client.answer(text("save b "))).result, text("no"));
            QCOMPARE(Outcome(client.answer(text("remove c "))).result, text("no"));
            QCOMPARE(Outcome(client.answer(text("read b "))).result, text("none"));
            QVERIFY(!client.answer(text("drop ")).isNull());
        }
        keyring.resume();
        QCOMPARE(Outcome(client.ask(text("read a"))).result, text("=token"));
        QCOMPARE(client.finish(), 0);
    }

private:
    double m_longestGap = 0;
};

QUILLSTEP_TEST(TestSecretStore)
#include "tst_secret_store.moc"
