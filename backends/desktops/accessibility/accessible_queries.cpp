// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/accessibility/accessible_queries.h"

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

QCoro::Task<bool> isActive(const Asker& asker, const AccessibleObject& object)
{
    return answered(askObject(asker, object, QStringLiteral("GetState")),
                    "au",
                    [](const QVariant& value) { // a set of states, bit by bit
                        const auto words = qdbus_cast<QList<quint32>>(value);
                        return !words.isEmpty() && words.size() <= kMostStateWords &&
                               ((words.constFirst() >> kStateActive) & 1U) != 0;
                    });
}

Told<Attributes> attributesOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(
        askObject(asker, object, QStringLiteral("GetAttributes")), "a{ss}", readAttributes);
}

Told<Attributes> documentAttributesOf(const Asker& asker, const AccessibleObject& object)
{
    return answered(asker.call(object,
                               QStringLiteral("org.a11y.atspi.Document"),
                               QStringLiteral("GetAttributes")),
                    "a{ss}",
                    readAttributes);
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
