// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessibility_bus.h"

#include "backends/dbus/bus_address.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QUuid>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kFirstRetry = std::chrono::seconds(1);
constexpr std::chrono::milliseconds kLongestRetry = std::chrono::seconds(30);
constexpr std::chrono::milliseconds kStatusLimit = std::chrono::seconds(5);
/// The address is told by who may have to start the bus first.
constexpr std::chrono::milliseconds kAddressLimit = std::chrono::seconds(10);

const QString kService = QStringLiteral("org.a11y.Bus");
const QString kPath = QStringLiteral("/org/a11y/bus");

/// Whether the address leads to a socket on this machine: others may start programs.
bool isLocal(const QString& address)
{
    return std::ranges::all_of(address.split(u';'), [](const QString& one) {
        return one.startsWith(QLatin1StringView("unix:"));
    });
}

QDBusMessage noAnswer()
{
    return QDBusMessage::createError(QDBusError::NoReply, QString());
}

constexpr qsizetype kMostStateWords = 4;
constexpr qsizetype kMostAttributes = 256;
constexpr qsizetype kMostRelations = 64;
constexpr qsizetype kMostNames = 4096;
// D-Bus Specification, "Valid Names"; for a path there is no limit.
constexpr qsizetype kLongestName = 255;
constexpr qsizetype kLongestPath = 1024;
constexpr qsizetype kMostPrograms = 256;
constexpr unsigned kStateActive = 1; // of AtspiStateType

AccessibleObject readObject(const QDBusArgument& from)
{
    AccessibleObject object;
    QDBusObjectPath path;
    from.beginStructure();
    from >> object.service >> path;
    from.endStructure();
    object.path = path.path();
    return object;
}

/// Whether it can be asked: programs name themselves and each other by unique names.
bool isUsable(const AccessibleObject& object)
{
    return object.service.startsWith(u':') && object.service.size() <= kLongestName &&
           object.path.size() <= kLongestPath;
}

std::optional<Objects> readObjects(const QDBusArgument& from, qsizetype most)
{
    Objects objects;
    bool isWhole = true;
    from.beginArray();
    while (!from.atEnd()) {
        if (objects.size() == most) {
            isWhole = false;
            break;
        }
        if (const AccessibleObject object = readObject(from); isUsable(object))
            objects.append(object);
    }
    from.endArray();
    return isWhole ? std::optional(objects) : std::nullopt;
}

std::optional<quint32> readNumber(const QVariant& value)
{
    return value.toUInt();
}

bool readActive(const QVariant& value)
{
    const auto words = qdbus_cast<QList<quint32>>(value); // a set of states, bit by bit
    return !words.isEmpty() && words.size() <= kMostStateWords &&
           ((words.constFirst() >> kStateActive) & 1U) != 0;
}

std::optional<Attributes> readAttributes(const QVariant& value)
{
    Attributes attributes;
    const auto from = value.value<QDBusArgument>();
    from.beginMap();
    while (!from.atEnd() && attributes.size() < kMostAttributes) {
        QString name;
        QString text;
        from.beginMapEntry();
        from >> name >> text;
        from.endMapEntry();
        attributes.insert(name, text);
    }
    const bool isWhole = from.atEnd();
    from.endMap();
    return isWhole ? std::optional(attributes) : std::nullopt;
}

Objects readRelated(const QVariant& value, quint32 kind)
{
    Objects related;
    const auto from = value.value<QDBusArgument>();
    from.beginArray();
    for (qsizetype i = 0; i < kMostRelations && !from.atEnd(); ++i) {
        quint32 found = 0;
        from.beginStructure();
        from >> found;
        const std::optional<Objects> targets = readObjects(from, kMostRelations);
        from.endStructure();
        if (found == kind && targets)
            related.append(*targets);
    }
    from.endArray();
    return related;
}

/// Those below an object of `parent`.
Objects readCached(const QVariant& value, const QString& parent, qsizetype most)
{
    Objects found;
    const auto from = value.value<QDBusArgument>();
    from.beginArray();
    for (qsizetype i = 0; i < most && !from.atEnd(); ++i) {
        from.beginStructure();
        const AccessibleObject object = readObject(from);
        readObject(from); // its program
        const AccessibleObject above = readObject(from);
        from.endStructure(); // skips the rest
        if (isUsable(object) && above.service == parent)
            found.append(object);
    }
    const bool isWhole = from.atEnd();
    from.endArray();
    return isWhole ? found : Objects();
}

/// What `read` makes of an answer of this type; nothing of every other one.
template <typename Read>
auto answered(PendingAnswer answer, const char* type, Read read)
    -> QCoro::Task<std::invoke_result_t<Read, const QVariant&>>
{
    const QDBusMessage reply = co_await answer;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1StringView(type))
        co_return std::invoke_result_t<Read, const QVariant&>();
    const QVariant value = reply.arguments().constFirst();
    co_return read(value);
}

PendingAnswer askObject(const Asker& asker, const AccessibleObject& object, const QString& method)
{
    return asker.call(object, kAccessible, method);
}

/// Asks the bus itself.
PendingAnswer askBus(const Asker& asker, const QString& method, const QVariantList& arguments)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    return asker.call(
        {.service = bus, .path = QStringLiteral("/org/freedesktop/DBus")}, bus, method, arguments);
}

} // namespace

Q_LOGGING_CATEGORY(lcAccessibility, "velomira.accessibility", QtCriticalMsg)

PendingAnswer PendingAnswer::none()
{
    auto state = std::make_shared<State>();
    state->reply = noAnswer();
    return PendingAnswer(std::move(state));
}

QDBusMessage PendingAnswer::await_resume() const
{
    return m_state->reply.value_or(noAnswer());
}

AccessibilityBus::AccessibilityBus(QDBusConnection sessionBus)
    : m_sessionBus(std::move(sessionBus))
    , m_owner(m_sessionBus, kService)
    , m_delay(kFirstRetry)
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &AccessibilityBus::look);
    if (!m_sessionBus.isConnected()) {
        m_isKnown = true;
        return;
    }
    connect(&m_owner, &desktop::BusNameOwner::changed, this, [this] {
        if (!m_sessionBus.isConnected())
            return;
        // The new one may know another address.
        m_delay = kFirstRetry;
        m_retry.stop();
        look();
    });
    // From any sender: Qt would wait for the bus to tell who a name belongs to, and a signal from a
    // wrong one does no more than make us ask.
    m_sessionBus.connect(QString(),
                         kPath,
                         dbus::kPropertiesInterface,
                         QStringLiteral("PropertiesChanged"),
                         this,
                         SLOT(look()));
    look();
}

AccessibilityBus::~AccessibilityBus()
{
    drop();
}

QDBusConnection AccessibilityBus::connection() const
{
    return m_bus.value_or(QDBusConnection(QString()));
}

/// What was told may no longer hold.
void AccessibilityBus::look()
{
    m_shallLook = m_question.isAsked();
    if (m_shallLook)
        return;
    m_question.ask<QDBusVariant>(
        m_sessionBus,
        dbus::readOf(
            kService, kPath, QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled")),
        [this](const QDBusPendingReply<QDBusVariant>& isEnabled) {
            takeEnabled(isEnabled.isValid() && isEnabled.value().variant().toBool());
        },
        kStatusLimit);
}

void AccessibilityBus::takeEnabled(bool isEnabled)
{
    if (isEnabled && !isOn() && !m_retry.isActive()) {
        m_question.ask<QString>(
            m_sessionBus,
            dbus::callOf(kService, kPath, kService, QStringLiteral("GetAddress")),
            [this](const QDBusPendingReply<QString>& address) {
                connectTo(address.isError() ? QString() : address.value());
                if (m_shallLook)
                    look();
            },
            kAddressLimit);
        return;
    }
    if (!isEnabled) {
        m_retry.stop();
        m_delay = kFirstRetry;
        const bool isNew = isOn() || !m_isKnown;
        m_isKnown = true;
        drop();
        if (isNew) {
            qCInfo(lcAccessibility, "accessibility is off");
            Q_EMIT changed();
        }
    }
    if (m_shallLook)
        look();
}

void AccessibilityBus::connectTo(const QString& address)
{
    // Connecting waits for ever for a bus that hangs.
    if (address.isEmpty() || !isLocal(address) || dbus::isSilent(address, kLimit)) {
        tryLater();
        return;
    }
    const QString name = QUuid::createUuid().toString();
    QDBusConnection bus = QDBusConnection::connectToBus(address, name);
    if (!bus.isConnected()) {
        QDBusConnection::disconnectFromBus(name);
        tryLater();
        return;
    }
    dbus::connectToLoss(bus, this, SLOT(lose()));
    m_delay = kFirstRetry;
    m_bus = bus;
    m_context = new QObject(this);
    m_isKnown = true;
    qCInfo(lcAccessibility, "accessibility is on");
    Q_EMIT changed();
}

void AccessibilityBus::lose()
{
    drop();
    tryLater();
}

void AccessibilityBus::drop()
{
    if (!m_bus)
        return;
    const QString name = m_bus->name();
    m_bus.reset();
    QDBusConnection::disconnectFromBus(name);
    m_context->deleteLater(); // it may be what calls
    while (!m_open.isEmpty()) // whoever waits finds it off
        finish(m_open.constFirst(), noAnswer());
}

void AccessibilityBus::tryLater()
{
    qCWarning(lcAccessibility) << "the bus cannot be used; next attempt in" << m_delay.count()
                               << "ms";
    m_retry.start(m_delay);
    m_delay = std::min(m_delay * 2, kLongestRetry);
    m_isKnown = true;
    Q_EMIT changed();
}

PendingAnswer AccessibilityBus::call(const AccessibleObject& object,
                                     const QString& interface,
                                     const QString& method,
                                     const QVariantList& arguments)
{
    if (!m_bus || m_open.size() >= kMostCalls)
        return PendingAnswer::none();
    const auto question = std::make_shared<PendingAnswer::State>();
    m_open.append(question);
    dbus::ask<>(
        *m_bus,
        dbus::callOf(object.service, object.path, interface, method, arguments),
        m_context,
        [this, question](const QDBusPendingReply<>& reply) { finish(question, reply.reply()); },
        kLimit);
    return PendingAnswer(question);
}

/// Who waits goes on before this returns.
void AccessibilityBus::finish(const std::shared_ptr<PendingAnswer::State>& question,
                              const QDBusMessage& reply)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `question` may be the list's
    const std::shared_ptr<PendingAnswer::State> state = question;
    if (!m_open.removeOne(state))
        return;
    state->reply = reply;
    if (state->waiting)
        state->waiting.resume();
}

PendingAnswer Asker::call(const AccessibleObject& object,
                          const QString& interface,
                          const QString& method,
                          const QVariantList& arguments) const
{
    return isCancelled() ? PendingAnswer::none()
                         : m_bus->call(object, interface, method, arguments);
}

AccessibleObject rootOf(const QString& service)
{
    return {.service = service, .path = QStringLiteral("/org/a11y/atspi/accessible/root")};
}

Told<Objects> programsOnBus(const Asker& asker)
{
    return childrenOf(asker, rootOf(QStringLiteral("org.a11y.atspi.Registry")), kMostPrograms);
}

QCoro::Task<QStringList> namesOnBus(const Asker& asker)
{
    return answered(
        askBus(asker, QStringLiteral("ListNames"), {}), "as", [](const QVariant& value) {
            const QStringList names = value.toStringList();
            return names.size() <= kMostNames ? names : QStringList();
        });
}

Told<quint32> processOf(const Asker& asker, const QString& service)
{
    return answered(
        askBus(asker, QStringLiteral("GetConnectionUnixProcessID"), {service}), "u", readNumber);
}

Told<Objects> childrenOf(const Asker& asker, const AccessibleObject& object, qsizetype most)
{
    return answered(
        askObject(asker, object, QStringLiteral("GetChildren")),
        "a(so)",
        [most](const QVariant& value) { return readObjects(value.value<QDBusArgument>(), most); });
}

Told<QString> nameOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(asker.call(object,
                               QStringLiteral("org.freedesktop.DBus.Properties"),
                               QStringLiteral("Get"),
                               {kAccessible, QStringLiteral("Name")}),
                    "v",
                    [](const QVariant& value) {
                        const QVariant name = value.value<QDBusVariant>().variant();
                        return name.metaType() == QMetaType::fromType<QString>()
                                   ? std::optional(name.toString())
                                   : std::nullopt;
                    });
}

Told<quint32> roleOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(askObject(asker, object, QStringLiteral("GetRole")), "u", readNumber);
}

Told<AccessibleObject> activeAmong(Asker asker, Objects windows)
{
    const auto askActive = [asker](const AccessibleObject& window) {
        return answered(askObject(asker, window, QStringLiteral("GetState")), "au", readActive);
    };
    const QList<bool> active = co_await askEach(windows, askActive);
    if (active.count(true) != 1)
        co_return std::nullopt;
    co_return windows.at(active.indexOf(true));
}

Told<Attributes>
attributesOf(const Asker& asker, const AccessibleObject& object, const QString& interface)
{
    return answered(
        asker.call(object, interface, QStringLiteral("GetAttributes")), "a{ss}", readAttributes);
}

Told<Objects> relatedTo(const Asker& asker, const AccessibleObject& object, quint32 kind)
{
    return answered(
        askObject(asker, object, QStringLiteral("GetRelationSet")),
        "a(ua(so))",
        [kind](const QVariant& value) { return std::optional(readRelated(value, kind)); });
}

QCoro::Task<Objects>
objectsBelow(const Asker& asker, const QString& service, const QString& parent, qsizetype most)
{
    const AccessibleObject cache{.service = service,
                                 .path = QStringLiteral("/org/a11y/atspi/cache")};
    return answered(
        asker.call(cache, QStringLiteral("org.a11y.atspi.Cache"), QStringLiteral("GetItems")),
        "a((so)(so)(so)iiassusau)",
        [parent, most](const QVariant& value) { return readCached(value, parent, most); });
}

} // namespace platform::atspi
