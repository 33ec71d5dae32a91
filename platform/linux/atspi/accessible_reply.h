// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/atspi/accessible_object.h"

#include <QDBusMessage>
#include <QList>
#include <QMap>
#include <QString>

#include <cstdint>
#include <optional>

/// What programs answer on the accessibility bus. Nothing is taken for granted: an answer of
/// another type, an error, or one that is larger than anything sensible is no answer. Any thread.
namespace platform::atspi {

/// The longest title that is handed on, in bytes of UTF-8.
inline constexpr qsizetype kLongestTitle = 16'384;

/// `text` without what exceeds `bytes` of UTF-8, cut between two characters.
[[nodiscard]] QString cutToBytes(const QString& text, qsizetype bytes = kLongestTitle);

/// A list of objects, at most `most`; none when it holds more.
[[nodiscard]] std::optional<QList<AccessibleObject>> objectsIn(const QDBusMessage& reply,
                                                               qsizetype most);

/// The value of a property that is a text.
[[nodiscard]] std::optional<QString> textPropertyIn(const QDBusMessage& reply);

/// A number: a role, a process.
[[nodiscard]] std::optional<quint32> numberIn(const QDBusMessage& reply);

/// A list of texts: names on the bus.
[[nodiscard]] std::optional<QStringList> textsIn(const QDBusMessage& reply);

/// A set of states, bit by bit.
[[nodiscard]] std::optional<std::uint64_t> statesIn(const QDBusMessage& reply);

[[nodiscard]] constexpr bool hasState(std::uint64_t states, quint32 state)
{
    return ((states >> state) & 1U) != 0;
}

/// Attributes by their names.
[[nodiscard]] std::optional<QMap<QString, QString>> attributesIn(const QDBusMessage& reply);

/// The objects that the one that was asked for its relations has the relation `kind` to.
[[nodiscard]] std::optional<QList<AccessibleObject>> relatedIn(const QDBusMessage& reply,
                                                               quint32 kind);

/// What a program keeps for quick readers about one of its objects.
struct CachedObject
{
    AccessibleObject object;
    AccessibleObject parent;
};

/// A program's list of such objects, at most `most`; none when it holds more.
[[nodiscard]] std::optional<QList<CachedObject>> cachedObjectsIn(const QDBusMessage& reply,
                                                                 qsizetype most);

} // namespace platform::atspi
