// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/gnome/extension_answer.h"

#include <QByteArray>
#include <QMetaType>

#include <algorithm>
#include <array>
#include <limits>

namespace platform::gnome {

namespace {

constexpr qsizetype kLongestTitle = 16'384;
constexpr qsizetype kLongestIdentifier = 1'024;

enum Field : std::uint8_t { Window, DesktopId, Name, Title, WindowClass, Process, Count };

bool hasTheRightTypes(const QVariantList& values)
{
    static constexpr std::array<QMetaType::Type, Count> kTypes{QMetaType::ULongLong,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::QString,
                                                               QMetaType::Int};
    return std::ranges::equal(values, kTypes, [](const QVariant& value, QMetaType::Type type) {
        return value.typeId() == static_cast<int>(type);
    });
}

/// `text` without what exceeds `most` bytes of UTF-8, cut between characters.
QString cutOff(const QString& text, qsizetype most)
{
    // No code unit has less than a byte: what is beyond cannot be kept.
    const QByteArray bytes = text.left(most + 1).toUtf8();
    if (bytes.size() <= most)
        return text;
    qsizetype end = most;
    while (end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0U) == 0x80U)
        --end;
    return QString::fromUtf8(bytes.left(end));
}

/// `text`, empty when it is too long to be meant.
QString identifier(const QVariant& text)
{
    const QString whole = text.toString();
    return whole.size() > kLongestIdentifier || whole.toUtf8().size() > kLongestIdentifier
               ? QString()
               : whole;
}

} // namespace

std::optional<desktop::FrontWindow> readAnswer(const QVariantList& values, std::uint32_t shell)
{
    if (!hasTheRightTypes(values))
        return std::nullopt;
    const quint64 number = values[Window].toULongLong();
    if (number == 0 || number > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;

    desktop::FrontWindow window;
    window.window = (std::uint64_t{shell} << 32U) | number;
    QString desktopId = identifier(values[DesktopId]);
    if (desktopId.endsWith(QLatin1StringView(".desktop")))
        desktopId.chop(8);
    for (const QString& each : {desktopId, identifier(values[WindowClass])})
        if (!each.isEmpty() && !window.identifiers.contains(each))
            window.identifiers.append(each);
    if (const QString name = identifier(values[Name]); !name.isEmpty())
        window.name = name;
    if (const QString title = values[Title].toString(); !title.isEmpty())
        window.title = cutOff(title, kLongestTitle);
    window.processIdentifier = std::max(0, values[Process].toInt());
    return window;
}

} // namespace platform::gnome
