// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/accessible_reply.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>

namespace platform::atspi {

namespace {

constexpr qsizetype kMostStateWords = 4;
constexpr qsizetype kMostAttributes = 256;
constexpr qsizetype kMostRelations = 64;
constexpr qsizetype kMostNames = 4096;
// D-Bus Specification, "Valid Names"; for a path there is no limit.
constexpr qsizetype kLongestName = 255;
constexpr qsizetype kLongestPath = 1024;

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

std::optional<QStringList> textsIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("as")))
        return std::nullopt;
    const QStringList texts = reply.arguments().constFirst().toStringList();
    return texts.size() <= kMostNames ? std::optional(texts) : std::nullopt;
}

std::optional<std::uint64_t> statesIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("au")))
        return std::nullopt;
    const auto words = qdbus_cast<QList<quint32>>(reply.arguments().constFirst());
    if (words.isEmpty() || words.size() > kMostStateWords)
        return std::nullopt;
    constexpr unsigned kBits = 32;
    return words.constFirst() | (std::uint64_t(words.value(1)) << kBits);
}

std::optional<QMap<QString, QString>> attributesIn(const QDBusMessage& reply)
{
    if (!hasType(reply, QLatin1StringView("a{ss}")))
        return std::nullopt;
    QMap<QString, QString> attributes;
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

std::optional<QList<CachedObject>> cachedObjectsIn(const QDBusMessage& reply, qsizetype most)
{
    if (!hasType(reply, QLatin1StringView("a((so)(so)(so)iiassusau)")))
        return std::nullopt;
    QList<CachedObject> objects;
    const QDBusArgument from = firstOf(reply);
    from.beginArray();
    while (!from.atEnd() && objects.size() < most) {
        CachedObject object;
        from.beginStructure();
        object.object = readObject(from);
        readObject(from); // its program
        object.parent = readObject(from);
        from.endStructure(); // skips the rest
        if (isUsable(object.object))
            objects.append(object);
    }
    const bool isWhole = from.atEnd();
    from.endArray();
    return isWhole ? std::optional(objects) : std::nullopt;
}

} // namespace platform::atspi
