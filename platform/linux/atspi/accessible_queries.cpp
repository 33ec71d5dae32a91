// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessible_queries.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <type_traits>

namespace platform::atspi {

namespace {

constexpr qsizetype kMostStateWords = 4;
constexpr qsizetype kMostAttributes = 256;
constexpr qsizetype kMostRelations = 64;
constexpr qsizetype kMostNames = 4096;
// D-Bus Specification, "Valid Names"; for a path there is no limit.
constexpr qsizetype kLongestName = 255;
constexpr qsizetype kLongestPath = 1024;
constexpr qsizetype kMostPrograms = 256;
constexpr unsigned kStateActive = 1; // of AtspiStateType

const QString kAccessible = QStringLiteral("org.a11y.atspi.Accessible");

bool hasType(const QDBusMessage& reply, QLatin1StringView signature)
{
    return reply.type() == QDBusMessage::ReplyMessage && reply.signature() == signature;
}

QDBusArgument firstOf(const QDBusMessage& reply)
{
    return reply.arguments().constFirst().value<QDBusArgument>();
}

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

std::optional<QList<AccessibleObject>> readObjects(const QDBusArgument& from, qsizetype most)
{
    QList<AccessibleObject> objects;
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

std::optional<QList<AccessibleObject>> objectsIn(const QDBusMessage& reply, qsizetype most)
{
    if (!hasType(reply, QLatin1StringView("a(so)")))
        return std::nullopt;
    return readObjects(firstOf(reply), most);
}

std::optional<QString> textPropertyIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("v")))
        return std::nullopt;
    const QVariant value = reply.arguments().constFirst().value<QDBusVariant>().variant();
    return value.metaType() == QMetaType::fromType<QString>() ? std::optional(value.toString())
                                                              : std::nullopt;
}

std::optional<quint32> numberIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("u")))
        return std::nullopt;
    return reply.arguments().constFirst().toUInt();
}

QStringList textsIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("as")))
        return {};
    const QStringList texts = reply.arguments().constFirst().toStringList();
    return texts.size() <= kMostNames ? texts : QStringList();
}

/// Of a set of states, bit by bit.
bool saysActive(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("au")))
        return false;
    const auto words = qdbus_cast<QList<quint32>>(reply.arguments().constFirst());
    return !words.isEmpty() && words.size() <= kMostStateWords &&
           ((words.constFirst() >> kStateActive) & 1U) != 0;
}

std::optional<Attributes> attributesIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("a{ss}")))
        return std::nullopt;
    Attributes attributes;
    const QDBusArgument from = firstOf(reply);
    from.beginMap();
    while (!from.atEnd() && attributes.size() < kMostAttributes) {
        QString name;
        QString value;
        from.beginMapEntry();
        from >> name >> value;
        from.endMapEntry();
        attributes.insert(name, value);
    }
    const bool isWhole = from.atEnd();
    from.endMap();
    return isWhole ? std::optional(attributes) : std::nullopt;
}

std::optional<QList<AccessibleObject>> relatedIn(const QDBusMessage& reply, quint32 kind)
{
    if (!hasType(reply, QLatin1StringView("a(ua(so))")))
        return std::nullopt;
    QList<AccessibleObject> related;
    const QDBusArgument from = firstOf(reply);
    from.beginArray();
    for (qsizetype i = 0; i < kMostRelations && !from.atEnd(); ++i) {
        quint32 found = 0;
        from.beginStructure();
        from >> found;
        const auto targets = readObjects(from, kMostRelations);
        from.endStructure();
        if (found == kind && targets)
            related.append(*targets);
    }
    from.endArray();
    return related;
}

/// Those below an object of `parent`.
QList<AccessibleObject> cachedIn(const QDBusMessage& reply, const QString& parent, qsizetype most)
{
    if (!hasType(reply, QLatin1StringView("a((so)(so)(so)iiassusau)")))
        return {};
    QList<AccessibleObject> found;
    const QDBusArgument from = firstOf(reply);
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
    return isWhole ? found : QList<AccessibleObject>();
}

/// What `read` makes of the answer.
template <typename Read>
auto answered(PendingAnswer answer, Read read)
    -> QCoro::Task<std::invoke_result_t<Read, const QDBusMessage&>>
{
    const QDBusMessage reply = co_await answer;
    co_return read(reply);
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

QString cutToBytes(const QString& text, qsizetype bytes)
{
    if (text.size() * 3 <= bytes) // a unit of UTF-16 needs at most three bytes
        return text;
    QByteArray utf8 = text.toUtf8();
    if (utf8.size() <= bytes)
        return text;
    const auto continues = [&utf8](qsizetype at) {
        constexpr unsigned kMask = 0xC0;
        constexpr unsigned kContinuation = 0x80;
        return (static_cast<unsigned char>(utf8.at(at)) & kMask) == kContinuation;
    };
    qsizetype end = bytes;
    while (end > 0 && continues(end))
        --end;
    utf8.truncate(end);
    return QString::fromUtf8(utf8);
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

QCoro::Task<QList<AccessibleObject>> programsOnBus(const Asker& asker)
{
    const AccessibleObject registry = rootOf(QStringLiteral("org.a11y.atspi.Registry"));
    return answered(askObject(asker, registry, QStringLiteral("GetChildren")),
                    [](const QDBusMessage& reply) {
                        return objectsIn(reply, kMostPrograms).value_or(QList<AccessibleObject>());
                    });
}

QCoro::Task<QStringList> namesOnBus(const Asker& asker)
{
    return answered(askBus(asker, QStringLiteral("ListNames"), {}), textsIn);
}

QCoro::Task<std::optional<quint32>> processOf(const Asker& asker, const QString& service)
{
    return answered(askBus(asker, QStringLiteral("GetConnectionUnixProcessID"), {service}),
                    numberIn);
}

QCoro::Task<std::optional<QList<AccessibleObject>>>
childrenOf(const Asker& asker, const AccessibleObject& object, qsizetype most)
{
    return answered(askObject(asker, object, QStringLiteral("GetChildren")),
                    [most](const QDBusMessage& reply) { return objectsIn(reply, most); });
}

QCoro::Task<std::optional<QString>> nameOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(asker.call(object,
                               QStringLiteral("org.freedesktop.DBus.Properties"),
                               QStringLiteral("Get"),
                               {kAccessible, QStringLiteral("Name")}),
                    textPropertyIn);
}

QCoro::Task<std::optional<quint32>> roleOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(askObject(asker, object, QStringLiteral("GetRole")), numberIn);
}

QCoro::Task<bool> isActive(const Asker& asker, const AccessibleObject& object)
{
    return answered(askObject(asker, object, QStringLiteral("GetState")), saysActive);
}

QCoro::Task<std::optional<Attributes>> attributesOf(const Asker& asker,
                                                    const AccessibleObject& object)
{
    return answered(askObject(asker, object, QStringLiteral("GetAttributes")), attributesIn);
}

QCoro::Task<std::optional<Attributes>> documentAttributesOf(const Asker& asker,
                                                            const AccessibleObject& object)
{
    return answered(asker.call(object,
                               QStringLiteral("org.a11y.atspi.Document"),
                               QStringLiteral("GetAttributes")),
                    attributesIn);
}

QCoro::Task<std::optional<QList<AccessibleObject>>>
relatedTo(const Asker& asker, const AccessibleObject& object, quint32 kind)
{
    return answered(askObject(asker, object, QStringLiteral("GetRelationSet")),
                    [kind](const QDBusMessage& reply) { return relatedIn(reply, kind); });
}

QCoro::Task<QList<AccessibleObject>>
objectsBelow(const Asker& asker, const QString& service, const QString& parent, qsizetype most)
{
    const AccessibleObject cache{.service = service,
                                 .path = QStringLiteral("/org/a11y/atspi/cache")};
    return answered(
        asker.call(cache, QStringLiteral("org.a11y.atspi.Cache"), QStringLiteral("GetItems")),
        [parent, most](const QDBusMessage& reply) { return cachedIn(reply, parent, most); });
}

} // namespace platform::atspi
