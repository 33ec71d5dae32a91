// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Questions to a peer on a real bus that answers when the test says so.
#include "backends/dbus/watched_property.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/system/verify_outcome.h"

#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using platform::dbus::Question;
using platform::dbus::WatchedProperty;

namespace {

const QString kName = u"org.example.Peer"_s;
const QString kPath = u"/org/example/Peer"_s;

/// Keeps all questions, to be answered one by one.
class Peer final : public QDBusVirtualObject
{
public:
    explicit Peer(const QDBusConnection& bus)
        : m_bus(bus)
    {
        m_bus.registerVirtualObject(kPath, this);
        m_bus.registerService(kName);
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& /*bus*/) override
    {
        message.setDelayedReply(true);
        questions.append(message);
        return true;
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    void answer(const QVariant& value) { m_bus.send(questions.takeFirst().createReply(value)); }

    void tell(const QString& interface, const QString& signal, const QVariantList& arguments)
    {
        QDBusMessage message = QDBusMessage::createSignal(kPath, interface, signal);
        message.setArguments(arguments);
        m_bus.send(message);
    }

    void tellProperty(const QVariantMap& changed, const QStringList& invalidated)
    {
        tell(platform::dbus::kPropertiesInterface,
             u"PropertiesChanged"_s,
             {kName, changed, invalidated});
    }

    QList<QDBusMessage> questions;

private:
    QDBusConnection m_bus;
};

QDBusMessage question()
{
    return platform::dbus::callOf(kName, kPath, kName, u"Number"_s);
}

} // namespace

class TestBusQuestions final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList{u"dbus-daemon"_s});
        QVERIFY(m_home.create());
        VERIFY_OUTCOME(m_daemon.start(m_home.filePath(u"bus"_s), m_home.environment()));
    }

    void init()
    {
        m_own = std::make_unique<QDBusConnection>(connection(u"own"_s));
        m_others = std::make_unique<QDBusConnection>(connection(u"others"_s));
        m_peer = std::make_unique<Peer>(*m_others);
    }

    void cleanup()
    {
        m_peer.reset();
        m_others.reset();
        m_own.reset();
        QDBusConnection::disconnectFromBus(u"others"_s);
        QDBusConnection::disconnectFromBus(u"own"_s);
    }

    void anAnswerOfAnotherKindIsAnError()
    {
        Question asked;
        QStringList told;
        const auto hear = [&](const QDBusPendingReply<int>& reply) {
            told += reply.isError() ? reply.error().name() : QString::number(reply.value());
            QVERIFY(!asked.isAsked());
        };
        asked.ask<int>(*m_own, question(), hear);
        QVERIFY(asked.isAsked());
        QTRY_COMPARE(m_peer->questions.size(), 1);
        m_peer->answer(7);
        QTRY_COMPARE(told, QStringList(u"7"_s));
        asked.ask<int>(*m_own, question(), hear);
        QTRY_COMPARE(m_peer->questions.size(), 1);
        m_peer->answer(u"seven"_s);
        QTRY_COMPARE(told.size(), 2);
        QCOMPARE(told.last(), u"org.freedesktop.DBus.Error.InvalidSignature"_s);
    }

    void silenceEndsAtTheLimit()
    {
        bool isSilent = false;
        platform::dbus::ask<int>(
            *m_own,
            question(),
            this,
            [&](const auto& reply) { isSilent = platform::dbus::isSilence(reply.error()); },
            std::chrono::milliseconds(50));
        QTRY_VERIFY(isSilent);
    }

    void onlyTheLastQuestionIsAnswered()
    {
        QList<int> told;
        const auto hear = [&](const QDBusPendingReply<int>& reply) {
            told += reply.value();
        };
        Question asked;
        auto gone = std::make_unique<Question>();
        gone->ask<int>(*m_own, question(), hear);
        gone.reset();
        asked.ask<int>(*m_own, question(), hear);
        asked.forget();
        QVERIFY(!asked.isAsked());
        asked.ask<int>(*m_own, question(), hear);
        asked.ask<int>(*m_own, question(), hear);
        QTRY_COMPARE(m_peer->questions.size(), 4);
        for (const int number : {1, 2, 3, 4})
            m_peer->answer(number); // in this order they arrive
        QTRY_COMPARE(told, QList<int>{4});
    }

    void newsAreNewerThanAnAnswerToAFormerQuestion()
    {
        const WatchedProperty<bool> watched(*m_own,
                                            {.service = kName,
                                             .path = kPath,
                                             .interface = kName,
                                             .name = u"GetActive"_s,
                                             .signal = u"ActiveChanged"_s});
        QSignalSpy changes(&watched, &WatchedProperty<bool>::changed);
        QTRY_COMPARE(m_peer->questions.size(), 1);
        m_peer->tell(kName, u"ActiveChanged"_s, {true});
        m_peer->answer(false);
        m_peer->tell(kName, u"ActiveChanged"_s, {true});
        QTRY_VERIFY(watched.value());
        m_peer->tell(kName, u"ActiveChanged"_s, {false});
        QTRY_VERIFY(!watched.value());
        QCOMPARE(changes.size(), 2);
    }

    void aPropertyIsFollowedAndForgottenWithItsService()
    {
        const WatchedProperty<QString> watched(
            *m_own, {.service = kName, .path = kPath, .interface = kName, .name = u"Colour"_s});
        QCOMPARE(watched.value(), QString());
        const auto answer = [this](const QString& colour) {
            m_peer->answer(QVariant::fromValue(QDBusVariant(colour)));
        };
        QTRY_COMPARE(m_peer->questions.size(), 1);
        answer(u"red"_s);
        QTRY_COMPARE(watched.value(), u"red"_s);
        m_peer->tellProperty({{u"Size"_s, 1}, {u"Colour"_s, u"blue"_s}}, {});
        QTRY_COMPARE(watched.value(), u"blue"_s);
        m_peer->tellProperty({{u"Size"_s, 2}}, {u"Colour"_s});
        QTRY_COMPARE(m_peer->questions.size(), 1);
        answer(u"green"_s);
        QTRY_COMPARE(watched.value(), u"green"_s);
        m_peer->tellProperty({{u"Colour"_s, 5}}, {}); // no text
        QTRY_COMPARE(watched.value(), QString());
        m_peer->tellProperty({{u"Colour"_s, u"grey"_s}}, {});
        QTRY_COMPARE(watched.value(), u"grey"_s);
        QVERIFY(m_others->unregisterService(kName));
        QTRY_COMPARE(watched.value(), QString());
        QVERIFY(m_others->registerService(kName));
        QTRY_COMPARE(m_peer->questions.size(), 1);
        answer(u"white"_s);
        QTRY_COMPARE(watched.value(), u"white"_s);
    }

private:
    [[nodiscard]] QDBusConnection connection(const QString& name) const
    {
        return QDBusConnection::connectToBus(m_daemon.address(), name);
    }

    support::PrivateHome m_home;
    support::BusDaemon m_daemon;
    std::unique_ptr<QDBusConnection> m_own;
    std::unique_ptr<QDBusConnection> m_others;
    std::unique_ptr<Peer> m_peer;
};

QUILLSTEP_TEST(TestBusQuestions)
#include "tst_bus_questions.moc"
