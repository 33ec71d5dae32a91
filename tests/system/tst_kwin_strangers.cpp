// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/headless_kwin.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"
#include "tests/support/test_window.h"
#include "tests/system/kwin_observer.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using support::HeadlessKWin;
using support::TestWindow;

namespace {

const QString kAccessDenied = u"org.freedesktop.DBus.Error.AccessDenied"_s;

QVariantList forgedReport()
{
    return {u"token"_s,
            u"{90ef7799-e83a-4f7d-9f89-dbcce04db1fd}"_s,
            u"Forged"_s,
            u"forged"_s,
            u"forged"_s,
            u"forged"_s,
            1};
}

/// Looks like KWin, but whatever it is asked it answers with the same.
class StrangeKWin final : public QDBusVirtualObject
{
public:
    explicit StrangeKWin(QVariantList answer)
        : m_answer(std::move(answer))
    {
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        ++calls;
        return bus.send(message.createReply(m_answer));
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    int calls = 0;

private:
    QVariantList m_answer;
};

} // namespace

class TestKWinStrangers final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(m_session.programs() + TestWindow::programs());
        VERIFY_OUTCOME(m_session.start());
    }

    void init()
    {
        // But for what Qt says when a name changes hands while it asks for its owner.
        QTest::failOnWarning(QRegularExpression(u"^(?!QDBusConnection: name )"_s));
        m_observer = std::make_unique<KWinObserver>(m_session.busAddress());
        m_window = std::make_unique<TestWindow>();
        QTRY_VERIFY(m_observer->isHere());
        VERIFY_OUTCOME(m_window->open(m_session.environment(), u"one"_s, u"First"_s));
        QTRY_COMPARE(m_observer->identifier(), u"one"_s);
    }

    void cleanup()
    {
        m_window.reset();
        m_observer.reset();
    }

    void aReportOfSomebodyElseIsRefused()
    {
        QCOMPARE(send(reportMethod(), forgedReport()), kAccessDenied);
        QVERIFY(isUnimpressed());
    }

    void anythingElseIsRefused_data()
    {
        QTest::addColumn<QVariantList>("arguments");
        QTest::newRow("nothing") << QVariantList();
        QTest::newRow("too few") << forgedReport().mid(1);
        QTest::newRow("another type") << (forgedReport().mid(1) << u"one"_s);
        QTest::newRow("lists") << QVariantList{QStringList{u"a"_s}, QStringList{}};
        QTest::newRow("a huge text") << QVariantList{QString(8'000'000, u'x')};
    }

    void anythingElseIsRefused()
    {
        QFETCH(const QVariantList, arguments);
        QCOMPARE(send(reportMethod(), arguments), kAccessDenied);
        QCOMPARE(send(u"another"_s, arguments), kAccessDenied);
        QVERIFY(isUnimpressed());
    }

    void tenThousandReportsOfSomebodyElseAreRefused()
    {
        QElapsedTimer time;
        time.start();
        int refused = 0;
        for (int i = 0; i < 10000; ++i) {
            auto* const watcher = new QDBusPendingCallWatcher(
                m_session.scripts().bus().asyncCall(question(reportMethod(), forgedReport())),
                this);
            connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, &refused] {
                refused += watcher->reply().errorName() == kAccessDenied;
                watcher->deleteLater();
            });
        }
        QTRY_COMPARE_WITH_TIMEOUT(refused, 10000, 60000);
        QVERIFY(isUnimpressed());
        VERIFY_OUTCOME(m_window->setTitle(u"Second"_s));
        QTRY_COMPARE(m_observer->title(), u"Second"_s);
    }

    void anotherScriptInKWinIsRefused()
    {
        const auto& script = m_observer->windows().script();
        QString text = u"callDBus('%1', '%2', '%3', '%4', 'token', "
                       "'{90ef7799-e83a-4f7d-9f89-dbcce04db1fd}', 'Forged', 'forged', 'forged', "
                       "'forged', 1, () => say('accepted'));"
                       "const t = new QTimer(); t.singleShot = true; t.interval = 300;"
                       "t.timeout.connect(() => say('no answer')); t.start();"_s;
        QCOMPARE(
            m_session.scripts().run(text.arg(
                script.service, script.path, platform::kwin::reportInterface(), reportMethod())),
            u"no answer"_s);
        QVERIFY(isUnimpressed());
    }

    void whoOnlyCallsItselfKWinIsNotThere_data()
    {
        QTest::addColumn<QVariantList>("answer");
        QTest::newRow("nothing") << QVariantList();
        QTest::newRow("a number") << QVariantList{0};
        QTest::newRow("always taken") << QVariantList{-1};
        QTest::newRow("a text") << QVariantList{u"zero"_s};
        QTest::newRow("a large number") << QVariantList{qulonglong(1) << 60};
    }

    void whoOnlyCallsItselfKWinIsNotThere()
    {
        QFETCH(const QVariantList, answer);
        support::PrivateHome home;
        VERIFY_OUTCOME(home.create());
        support::BusDaemon daemon;
        VERIFY_OUTCOME(daemon.start(home.filePath(u"bus"_s), home.environment()));
        StrangeKWin stranger(answer);
        const QString name = u"stranger"_s;
        {
            auto bus = QDBusConnection::connectToBus(daemon.address(), name);
            QVERIFY(bus.registerVirtualObject(u"/"_s, &stranger, QDBusConnection::SubPath));
            QVERIFY(bus.registerService(u"org.kde.KWin"_s));
            const KWinObserver observer(daemon.address());
            QTRY_VERIFY(stranger.calls > 0);
            QTRY_VERIFY_WITH_TIMEOUT(observer.isAbsent(), 20000);
            QCOMPARE(observer.identifier(), u"(none)"_s);
            // It does not go on asking without a pause.
            QVERIFY2(stranger.calls <= 20, qPrintable(QString::number(stranger.calls)));
        }
        QDBusConnection::disconnectFromBus(name);
    }

private:
    static QString reportMethod() { return platform::kwin::reportMethod(); }

    [[nodiscard]] QDBusMessage question(const QString& method, const QVariantList& arguments) const
    {
        const auto& script = m_observer->windows().script();
        QDBusMessage message = QDBusMessage::createMethodCall(
            script.service, script.path, platform::kwin::reportInterface(), method);
        message.setArguments(arguments);
        return message;
    }

    /// What comes back.
    [[nodiscard]] QString send(const QString& method, const QVariantList& arguments)
    {
        const QDBusPendingCallWatcher watcher(
            m_session.scripts().bus().asyncCall(question(method, arguments)));
        static_cast<void>(QTest::qWaitFor([&watcher] { return watcher.isFinished(); }, 20000));
        return watcher.isError() ? watcher.error().name() : u"(no error)"_s;
    }

    [[nodiscard]] bool isUnimpressed() const
    {
        return m_observer->isHere() && m_observer->identifier() == u"one" &&
               m_observer->title() == u"First" && m_observer->process() == m_window->pid();
    }

    HeadlessKWin m_session;
    std::unique_ptr<KWinObserver> m_observer;
    std::unique_ptr<TestWindow> m_window;
};

QUILLSTEP_TEST(TestKWinStrangers)
#include "tst_kwin_strangers.moc"
