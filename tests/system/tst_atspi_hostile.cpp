// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A program on a private accessibility bus that answers as a test wants it, however wrong.
#include "backends/desktops/accessibility/accessibility_bus.h"
#include "backends/desktops/accessibility/accessible_front_window.h"
#include "backends/page_addresses/accessible_addresses.h"
#include "tests/support/bus_daemon.h"
#include "tests/support/heartbeat.h"
#include "tests/support/passing_time.h"
#include "tests/support/private_home.h"
#include "tests/support/required_programs.h"
#include "tests/support/test_program.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <memory>
#include <optional>
#include <unistd.h>

using namespace Qt::StringLiterals;
using platform::atspi::AccessibilityBus;
using platform::atspi::AccessibleAddresses;
using platform::atspi::AccessibleFrontWindow;
using platform::browsers::Family;
using platform::browsers::FrontBrowser;

namespace {

constexpr int kPatienceMs = 20000;
const QString kRoot = QStringLiteral("/org/a11y/atspi/accessible/root");

struct Reference
{
    QString service;
    QDBusObjectPath path;
};

struct Relation
{
    quint32 kind = 0;
    QList<Reference> targets;
};

QDBusArgument& operator<<(QDBusArgument& to, const Reference& reference)
{
    to.beginStructure();
    to << reference.service << reference.path;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, Reference& reference)
{
    from.beginStructure();
    from >> reference.service >> reference.path;
    from.endStructure();
    return from;
}

QDBusArgument& operator<<(QDBusArgument& to, const Relation& relation)
{
    to.beginStructure();
    to << relation.kind << relation.targets;
    to.endStructure();
    return to;
}

const QDBusArgument& operator>>(const QDBusArgument& from, Relation& relation)
{
    from.beginStructure();
    from >> relation.kind >> relation.targets;
    from.endStructure();
    return from;
}

enum class Manner : std::uint8_t {
    Right,
    WrongTypes,
    Silent,
    Errors,
    ManyChildren,
    CyclicRelations,
};

class FakeProgram final : public QDBusVirtualObject
{
    Q_OBJECT

public:
    Manner manner = Manner::Right;
    int calls = 0;

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.interface() == QLatin1StringView("org.a11y.atspi.Registry"))
            return connection.send(message.createReply());
        ++calls;
        const QString me = connection.baseService();
        if (manner == Manner::Silent)
            return true;
        if (manner == Manner::Errors)
            return connection.send(message.createErrorReply(QDBusError::Failed, u"no"_s));
        if (manner == Manner::WrongTypes)
            return connection.send(message.createReply(QVariantList{42.0, u"text"_s}));
        return connection.send(message.createReply(answer(message, me)));
    }

private:
    QVariant answer(const QDBusMessage& message, const QString& me) const
    {
        const QString method = message.member();
        const bool isDocument = message.path() == u"/document"_s;
        if (method == u"GetChildren")
            return QVariant::fromValue(children(message.path(), me));
        if (method == u"GetRelationSet") {
            const QDBusObjectPath target(manner == Manner::CyclicRelations ? message.path()
                                                                           : u"/document"_s);
            return QVariant::fromValue(QList<Relation>{{13, {{me, target}}}});
        }
        if (method == u"GetState")
            return QVariant::fromValue(QList<quint32>{2, 0});
        if (method == u"GetRole")
            return quint32(23);
        if (method == u"GetAttributes" && isDocument)
            return QVariant::fromValue(
                QMap<QString, QString>{{u"URI"_s, u"http://127.0.0.1/page"_s}});
        if (method == u"GetAttributes")
            return QVariant::fromValue(QMap<QString, QString>{});
        const QString name = isDocument ? u"Page"_s : u"Page - Chromium"_s;
        return QVariant::fromValue(QDBusVariant(name));
    }

    QList<Reference> children(const QString& path, const QString& me) const
    {
        if (manner == Manner::ManyChildren)
            return QList<Reference>(20'000, {me, QDBusObjectPath(u"/window"_s)});
        if (path == kRoot)
            return {{me, QDBusObjectPath(u"/window"_s)}};
        return {};
    }
};

/// The list of all programs; in the same place as the root of the one there is.
class FakeRegistry final : public QDBusVirtualObject
{
    Q_OBJECT

public:
    QString program;
    QStringList registered;

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() == u"RegisterEvent")
            registered.append(message.arguments().value(0).toString());
        if (message.member() != u"GetChildren")
            return connection.send(message.createReply());
        return connection.send(message.createReply(
            QVariant::fromValue(QList<Reference>{{program, QDBusObjectPath(kRoot)}})));
    }
};

class FakeService final : public QDBusVirtualObject
{
    Q_OBJECT

public:
    QString address;

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        const QVariant value = message.member() == u"GetAddress"
                                   ? QVariant(address)
                                   : QVariant::fromValue(QDBusVariant(true));
        return connection.send(message.createReply(value));
    }
};

} // namespace

class TestAtspiHostile final : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase()
    {
        REQUIRE_PROGRAMS(QStringList{u"dbus-daemon"_s});
        qDBusRegisterMetaType<Reference>();
        qDBusRegisterMetaType<QList<Reference>>();
        qDBusRegisterMetaType<Relation>();
        qDBusRegisterMetaType<QList<Relation>>();
        qDBusRegisterMetaType<QList<quint32>>();
        qDBusRegisterMetaType<QMap<QString, QString>>();
    }

    void init()
    {
        m_home = std::make_unique<support::PrivateHome>();
        check(m_home->create());
        m_sessionBus = std::make_unique<support::BusDaemon>();
        m_accessibilityBus = std::make_unique<support::BusDaemon>();
        check(m_sessionBus->start(m_home->filePath(u"runtime/bus"_s), m_home->environment()));
        check(
            m_accessibilityBus->start(m_home->filePath(u"runtime/a11y"_s), m_home->environment()));
        QDBusConnection service = connectTo(*m_sessionBus, u"service"_s);
        m_service = std::make_unique<FakeService>();
        m_service->address = m_accessibilityBus->address();
        offer(service, *m_service, u"org.a11y.Bus"_s);
        QDBusConnection program = connectTo(*m_accessibilityBus, u"program"_s);
        m_program = std::make_unique<FakeProgram>();
        offer(program, *m_program, {});
        QDBusConnection registry = connectTo(*m_accessibilityBus, u"registry"_s);
        m_registry = std::make_unique<FakeRegistry>();
        m_registry->program = program.baseService();
        offer(registry, *m_registry, u"org.a11y.atspi.Registry"_s);
        m_bus = std::make_unique<AccessibilityBus>(connectTo(*m_sessionBus, u"watch"_s));
        m_addresses = std::make_unique<AccessibleAddresses>(*m_bus);
    }

    void cleanup()
    {
        m_source.reset();
        m_addresses.reset();
        m_bus.reset();
        for (const char* name : {"service", "program", "registry", "watch"})
            QDBusConnection::disconnectFromBus(QString::fromLatin1(name));
        m_accessibilityBus.reset();
        m_sessionBus.reset();
    }

    void wrongAnswersAreNone_data()
    {
        QTest::addColumn<Manner>("manner");
        QTest::newRow("wrong types") << Manner::WrongTypes;
        QTest::newRow("silence") << Manner::Silent;
        QTest::newRow("errors") << Manner::Errors;
        QTest::newRow("many children") << Manner::ManyChildren;
        QTest::newRow("relations in a circle") << Manner::CyclicRelations;
    }

    void wrongAnswersAreNone()
    {
        QFETCH(Manner, manner);
        m_program->manner = manner;
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
        support::Heartbeat heartbeat;
        int reads = 0;
        QVERIFY(support::staysSo(std::chrono::seconds(3), [&] {
            read();
            ++reads;
            return m_found.isEmpty();
        }));
        // Bounded: no more than some thousand questions in three seconds.
        QVERIFY2(m_program->calls < 8000, qPrintable(QString::number(m_program->calls)));
        qInfo("%d questions, longest gap %.0f ms", m_program->calls, heartbeat.longestGap());
        // Once it answers as it should, it is believed.
        m_program->manner = Manner::Right;
        QTRY_COMPARE_WITH_TIMEOUT(m_addresses->addressIn(front()),
                                  std::optional(u"http://127.0.0.1/page"_s),
                                  kPatienceMs);
        emitEvent(u"Activate"_s, u"/window"_s);
        QTRY_VERIFY_WITH_TIMEOUT(window(), kPatienceMs);
        QCOMPARE(window()->title, std::optional(u"Page - Chromium"_s));
    }

    void whoeverGoesWhileAProgramIsSilentLeavesNothingBehind()
    {
        m_program->manner = Manner::Silent;
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
        QVERIFY(!m_addresses->addressIn(front()));
        QTRY_VERIFY_WITH_TIMEOUT(m_program->calls >= 2, kPatienceMs); // one of each
        // Their searches wait now; sanitizers see what becomes of them.
        m_source.reset();
        m_addresses.reset();
        const int calls = m_program->calls;
        m_bus.reset();
        m_program->manner = Manner::Right;
        AccessibilityBus bus(QDBusConnection(u"watch"_s));
        AccessibleFrontWindow source(bus);
        QTRY_VERIFY_WITH_TIMEOUT((source.update(), source.frontWindow()), kPatienceMs);
        // No more than the one that has just begun to ask: for the windows, their state, and what
        // one is.
        QVERIFY2(m_program->calls - calls <= 8, qPrintable(QString::number(m_program->calls)));
    }

    void aFloodOfEventsCausesFewQuestions()
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
        QTRY_VERIFY_WITH_TIMEOUT(window(), kPatienceMs);
        m_program->calls = 0;
        QElapsedTimer time;
        time.start();
        for (int i = 0; i < 20'000; ++i)
            emitEvent(u"Activate"_s, i % 2 == 0 ? u"/window"_s : u"/other"_s);
        emitEvent(u"Deactivate"_s, u"/other"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!window(), kPatienceMs);
        emitEvent(u"Activate"_s, u"/last"_s);
        QTRY_VERIFY_WITH_TIMEOUT(window(), kPatienceMs);
        const qint64 slots20thOfSecond = time.elapsed() / 50 + 2;
        qInfo("%d questions in %lld ms", m_program->calls, static_cast<long long>(time.elapsed()));
        QVERIFY(m_program->calls <= 5 * slots20thOfSecond);
    }

    void whileNothingHappensLittleIsAsked()
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
        QTRY_VERIFY_WITH_TIMEOUT(window(), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(m_addresses->addressIn(front()), kPatienceMs);
        m_found.clear();
        m_program->calls = 0;
        for (int tick = 0; tick < 5; ++tick) {
            support::letPass(std::chrono::seconds(1));
            read();
        }
        support::letPass(std::chrono::milliseconds(500)); // for what the last one has asked
        qInfo("%d questions at 5 ticks", m_program->calls);
        QVERIFY(m_program->calls <= 15); // for the title, the document on show and its address
        QCOMPARE(m_found, QStringList(5, u"http://127.0.0.1/page"_s));
        // Every program would send its names of everything.
        QCOMPARE(m_registry->registered,
                 (QStringList{u"window:activate"_s, u"window:deactivate"_s}));
    }

    void aDeactivationThatComesLateChangesNothing()
    {
        QTRY_VERIFY_WITH_TIMEOUT(m_bus->isOn(), kPatienceMs);
        m_source = std::make_unique<AccessibleFrontWindow>(*m_bus);
        QTRY_VERIFY_WITH_TIMEOUT(window(), kPatienceMs);
        const auto before = window()->window;
        emitEvent(u"Activate"_s, u"/other"_s);
        emitEvent(u"Deactivate"_s, u"/window"_s);
        QTRY_VERIFY_WITH_TIMEOUT(window() && window()->window != before, kPatienceMs);
        emitEvent(u"Deactivate"_s, u"/other"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!window(), kPatienceMs);
    }

    void anAddressThatStartsProgramsIsNotUsed()
    {
        m_bus.reset();
        m_addresses.reset();
        const QString mark = m_home->filePath(u"mark"_s);
        m_service->address = u"unixexec:path=/usr/bin/touch,argv1="_s + mark;
        AccessibilityBus bus(QDBusConnection(u"watch"_s));
        QSignalSpy changes(&bus, &AccessibilityBus::changed);
        QTRY_VERIFY_WITH_TIMEOUT(changes.size() >= 2, kPatienceMs); // it has tried twice
        QVERIFY(!bus.isOn());
        QVERIFY(!QFile::exists(mark));
    }

private:
    static void check(const platform::Outcome& outcome)
    {
        QVERIFY2(outcome, outcome ? "" : qPrintable(outcome.error().text));
    }

    static QDBusConnection connectTo(const support::BusDaemon& bus, const QString& name)
    {
        return QDBusConnection::connectToBus(bus.address(), name);
    }

    static void offer(QDBusConnection& bus, QDBusVirtualObject& object, const QString& service)
    {
        QVERIFY(bus.registerVirtualObject(u"/"_s, &object, QDBusConnection::SubPath));
        QVERIFY(service.isEmpty() || bus.registerService(service));
    }

    static FrontBrowser front()
    {
        return {.family = Family::Chromium,
                .processIdentifier = ::getpid(),
                .windowTitle = u"Page - Chromium"_s};
    }

    /// As a tick sees it.
    std::optional<platform::desktop::FrontWindow> window()
    {
        m_source->update();
        return m_source->frontWindow();
    }

    void read()
    {
        if (const auto address = m_addresses->addressIn(front()))
            m_found.append(*address);
        m_source->update();
    }

    static void emitEvent(const QString& event, const QString& window)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(window, u"org.a11y.atspi.Event.Window"_s, event);
        signal.setArguments({QString(), 0, 0, QVariant::fromValue(QDBusVariant(QString()))});
        QDBusConnection(u"program"_s).send(signal);
    }

    QStringList m_found;
    std::unique_ptr<support::PrivateHome> m_home;
    std::unique_ptr<support::BusDaemon> m_sessionBus;
    std::unique_ptr<support::BusDaemon> m_accessibilityBus;
    std::unique_ptr<FakeService> m_service;
    std::unique_ptr<FakeProgram> m_program;
    std::unique_ptr<FakeRegistry> m_registry;
    std::unique_ptr<AccessibilityBus> m_bus;
    std::unique_ptr<AccessibleAddresses> m_addresses;
    std::unique_ptr<AccessibleFrontWindow> m_source;
};

QUILLSTEP_TEST(TestAtspiHostile)
#include "tst_atspi_hostile.moc"
