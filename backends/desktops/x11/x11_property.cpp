// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/x11/x11_property.h"

#include "backends/desktops/x11/x11_reply.h"

#include <QByteArray>
#include <QStringDecoder>

#include <cstddef>
#include <cstring>
#include <xcb-imdkit/encoding.h>

namespace platform::x11 {

namespace {
QString fromUtf8(std::string_view bytes)
{
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

QString fromCompoundText(std::string_view bytes)
{
    static const bool initialised = [] {
        xcb_compound_text_init();
        return true;
    }();
    Q_UNUSED(initialised)
    // The converter is given a text with a NUL behind it, which a property value does not have.
    const QByteArray text(bytes.data(), static_cast<qsizetype>(bytes.size()));
    std::size_t length = 0;
    const std::unique_ptr<char, X11Free> utf8(
        xcb_compound_text_to_utf8(text.constData(), bytes.size(), &length));
    return utf8 ? fromUtf8({utf8.get(), length}) : QString();
}

QString decode(std::string_view bytes, const X11Property& property, const X11Atoms& atoms)
{
    if (property.type == XCB_ATOM_STRING)
        return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (property.type == atoms.compoundText)
        return fromCompoundText(bytes);
    // One that is not told of the text's end keeps the beginning of a character for itself.
    if (property.truncated)
        return QStringDecoder(QStringDecoder::Utf8)
            .decode(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return fromUtf8(bytes);
}

QStringView firstLabel(QStringView hostName)
{
    const qsizetype dot = hostName.indexOf(u'.');
    return dot < 0 ? hostName : hostName.first(dot);
}
} // namespace

X11Property X11Property::of(const xcb_get_property_reply_t* reply)
{
    if (reply == nullptr)
        return {};
    return {.type = reply->type,
            .format = reply->format,
            .bytes = {static_cast<const char*>(xcb_get_property_value(reply)),
                      static_cast<std::size_t>(xcb_get_property_value_length(reply))},
            .truncated = reply->bytes_after > 0};
}

std::optional<QString> textOf(const X11Property& property, const X11Atoms& atoms)
{
    if (property.type == XCB_ATOM_NONE || property.format != 8)
        return std::nullopt;
    const std::size_t end = property.bytes.find('\0');
    if (end == std::string_view::npos)
        return decode(property.bytes, property, atoms);
    X11Property whole = property;
    whole.truncated = false; // the text ends before the cut
    return decode(property.bytes.substr(0, end), whole, atoms);
}

QStringList windowClassNames(const X11Property& property, const X11Atoms& atoms)
{
    const QString instance = textOf(property, atoms).value_or(QString());
    X11Property rest = property;
    const std::size_t end = property.bytes.find('\0');
    rest.bytes =
        end == std::string_view::npos ? std::string_view() : property.bytes.substr(end + 1);
    QStringList names{textOf(rest, atoms).value_or(QString()), instance};
    names.removeAll(QString());
    names.removeDuplicates();
    return names;
}

std::vector<std::uint32_t> numbersOf(const X11Property& property, xcb_atom_t type)
{
    if (property.type != type || property.format != 32)
        return {};
    std::vector<std::uint32_t> numbers(property.bytes.size() / sizeof(std::uint32_t));
    if (!numbers.empty())
        std::memcpy(numbers.data(), property.bytes.data(), numbers.size() * sizeof(std::uint32_t));
    return numbers;
}

std::uint32_t numberOf(const X11Property& property, xcb_atom_t type)
{
    const std::vector<std::uint32_t> numbers = numbersOf(property, type);
    return numbers.empty() ? 0 : numbers.front();
}

bool isLocalMachine(QStringView clientMachine, QStringView hostName)
{
    const auto same = [](QStringView a, QStringView b) {
        return a.compare(b, Qt::CaseInsensitive) == 0;
    };
    if (clientMachine.isEmpty() || same(clientMachine, u"localhost"))
        return true;
    if (clientMachine.contains(u'.') == hostName.contains(u'.'))
        return same(clientMachine, hostName);
    return same(firstLabel(clientMachine), firstLabel(hostName));
}

} // namespace platform::x11
