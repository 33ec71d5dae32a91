// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/assistive_reader.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFileInfo>
#include <QTest>
#include <QUuid>

namespace support {

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kAnswerMs = 20000;
const QString kLauncher = QStringLiteral("/usr/libexec/at-spi-bus-launcher");
const QString kAccessible = QStringLiteral("org.a11y.atspi.Accessible");
const QString kAction = QStringLiteral("org.a11y.atspi.Action");
const QString kRoot = QStringLiteral("/org/a11y/atspi/accessible/root");

QDBusMessage call(const QDBusConnection& bus,
                  const AssistiveElement& element,
                  const QString& interface,
                  const QString& method,
                  const QVariantList& arguments = {})
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(element.service, element.path, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, kAnswerMs);
}

QString nameOf(const QDBusConnection& bus, const AssistiveElement& element)
{
    const QDBusMessage reply = call(bus,
                                    element,
                                    QStringLiteral("org.freedesktop.DBus.Properties"),
                                    QStringLiteral("Get"),
                                    {kAccessible, QStringLiteral("Name")});
    return reply.arguments().value(0).value<QDBusVariant>().variant().toString();
}

std::uint64_t statesOf(const QDBusConnection& bus, const AssistiveElement& element)
{
    const QDBusMessage reply = call(bus, element, kAccessible, QStringLiteral("GetState"));
    const auto words = qdbus_cast<QList<quint32>>(reply.arguments().value(0));
    return words.value(0) | (std::uint64_t(words.value(1)) << 32U);
}

} // namespace

AssistiveReader::~AssistiveReader()
{
    if (!m_connection.isEmpty())
        QDBusConnection::disconnectFromBus(m_connection);
}

QStringList AssistiveReader::programs()
{
    return {kLauncher};
}

platform::Outcome AssistiveReader::start(const QProcessEnvironment& environment)
{
    if (const auto started =
            m_launcher.start(kLauncher, {QStringLiteral("--launch-immediately")}, environment);
        !started)
        return started;
    const QString session = QUuid::createUuid().toString();
    QString address;
    const auto hasAddress = [&] {
        QDBusConnection bus = QDBusConnection::connectToBus(
            environment.value(QStringLiteral("DBUS_SESSION_BUS_ADDRESS")), session);
        const AssistiveElement launcher{.service = QStringLiteral("org.a11y.Bus"),
                                        .path = QStringLiteral("/org/a11y/bus"),
                                        .name = {}};
        address = call(bus, launcher, QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"))
                      .arguments()
                      .value(0)
                      .toString();
        QDBusConnection::disconnectFromBus(session);
        return !address.isEmpty() && address.startsWith(QLatin1StringView("unix:"));
    };
    if (!QTest::qWaitFor(hasAddress, kPatienceMs))
        return platform::Error{QStringLiteral("the accessibility bus does not come up")};
    m_connection = QUuid::createUuid().toString();
    if (!QDBusConnection::connectToBus(address, m_connection).isConnected())
        return platform::Error{QStringLiteral("cannot connect to ") + address};
    return platform::success();
}

QProcessEnvironment AssistiveReader::programEnvironment(const QProcessEnvironment& environment)
{
    QProcessEnvironment with = environment;
    with.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    return with;
}

QDBusConnection AssistiveReader::bus() const
{
    return QDBusConnection(m_connection);
}

std::vector<AssistiveElement> AssistiveReader::children(const QString& service,
                                                        const QString& path) const
{
    const AssistiveElement parent{.service = service, .path = path, .name = {}};
    const QDBusMessage reply = call(bus(), parent, kAccessible, QStringLiteral("GetChildren"));
    std::vector<AssistiveElement> found;
    if (reply.type() != QDBusMessage::ReplyMessage)
        return found;
    const auto list = reply.arguments().value(0).value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        AssistiveElement child;
        QDBusObjectPath place;
        list.beginStructure();
        list >> child.service >> place;
        list.endStructure();
        child.path = place.path();
        found.push_back(child);
    }
    list.endArray();
    for (AssistiveElement& child : found) {
        child.name = nameOf(bus(), child);
        child.role = call(bus(), child, kAccessible, QStringLiteral("GetRole"))
                         .arguments()
                         .value(0)
                         .toUInt();
        child.states = statesOf(bus(), child);
    }
    return found;
}

void AssistiveReader::collect(const AssistiveElement& from,
                              std::vector<AssistiveElement>& into) const
{
    for (const AssistiveElement& child : children(from.service, from.path)) {
        into.push_back(child);
        collect(child, into);
    }
}

std::vector<AssistiveElement> AssistiveReader::elements(const QString& window) const
{
    std::vector<AssistiveElement> all;
    for (const AssistiveElement& program :
         children(QStringLiteral("org.a11y.atspi.Registry"), kRoot)) {
        for (const AssistiveElement& top : children(program.service, program.path)) {
            if (top.name == window)
                collect(top, all);
        }
    }
    return all;
}

std::optional<AssistiveElement>
AssistiveReader::find(const QString& window, const QString& name, std::uint32_t role) const
{
    for (const AssistiveElement& element : elements(window)) {
        if (element.name == name && (role == 0 || element.role == role))
            return element;
    }
    return std::nullopt;
}

QRect AssistiveReader::place(const AssistiveElement& element) const
{
    const QDBusMessage reply = call(bus(),
                                    element,
                                    QStringLiteral("org.a11y.atspi.Component"),
                                    QStringLiteral("GetExtents"),
                                    {QVariant::fromValue(quint32(0))});
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {};
    const auto extents = reply.arguments().value(0).value<QDBusArgument>();
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    extents.beginStructure();
    extents >> x >> y >> width >> height;
    extents.endStructure();
    return {x, y, width, height};
}

QString AssistiveReader::text(const AssistiveElement& element) const
{
    return call(bus(),
                element,
                QStringLiteral("org.a11y.atspi.Text"),
                QStringLiteral("GetText"),
                {0, -1})
        .arguments()
        .value(0)
        .toString();
}

QStringList AssistiveReader::actions(const AssistiveElement& element) const
{
    const QDBusMessage reply = call(bus(), element, kAction, QStringLiteral("GetActions"));
    QStringList names;
    if (reply.type() != QDBusMessage::ReplyMessage)
        return names;
    const auto list = reply.arguments().value(0).value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        QString description;
        QString keys;
        list.beginStructure();
        list >> name >> description >> keys;
        list.endStructure();
        names.append(name);
    }
    list.endArray();
    return names;
}

bool AssistiveReader::perform(const AssistiveElement& element, const QString& action) const
{
    const auto index = actions(element).indexOf(action);
    return index >= 0 &&
           call(bus(), element, kAction, QStringLiteral("DoAction"), {static_cast<int>(index)})
                   .type() == QDBusMessage::ReplyMessage;
}

bool AssistiveReader::setValue(const AssistiveElement& element, double value) const
{
    return call(bus(),
                element,
                QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Set"),
                {QStringLiteral("org.a11y.atspi.Value"),
                 QStringLiteral("CurrentValue"),
                 QVariant::fromValue(QDBusVariant(value))})
               .type() == QDBusMessage::ReplyMessage;
}

bool AssistiveReader::setText(const AssistiveElement& element, const QString& text) const
{
    return call(bus(),
                element,
                QStringLiteral("org.a11y.atspi.EditableText"),
                QStringLiteral("SetTextContents"),
                {text})
               .type() == QDBusMessage::ReplyMessage;
}

} // namespace support
