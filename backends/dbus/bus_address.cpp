// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/dbus/bus_address.h"

#include "backends/posix/file_descriptor.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QMetaObject>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace platform::dbus {

namespace {

struct SocketName
{
    sockaddr_un address = {};
    socklen_t length = 0;
};

std::optional<SocketName> socketName(const QByteArray& name, bool isAbstract)
{
    SocketName result;
    result.address.sun_family = AF_UNIX;
    const auto size = static_cast<std::size_t>(name.size());
    const std::size_t start = isAbstract ? 1 : 0; // an abstract name begins with a zero byte
    if (name.isEmpty() || start + size >= sizeof result.address.sun_path)
        return std::nullopt;
    std::memcpy(result.address.sun_path + start, name.constData(), size);
    const std::size_t end = start + size + (isAbstract ? 0 : 1);
    result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + end);
    return result;
}

/// The socket of one address "transport:key=value,key=value", values percent-encoded.
std::optional<SocketName> socketOf(const QByteArray& address)
{
    constexpr std::string_view kTransport = "unix:";
    if (!address.startsWith(kTransport))
        return std::nullopt;
    for (const QByteArray& pair : address.mid(qsizetype(kTransport.size())).split(',')) {
        const qsizetype equals = pair.indexOf('=');
        const QByteArray key = pair.left(equals);
        if (equals > 0 && (key == "path" || key == "abstract"))
            return socketName(QByteArray::fromPercentEncoding(pair.mid(equals + 1)),
                              key == "abstract");
    }
    return std::nullopt;
}

struct Connection
{
    posix::FileDescriptor socket;
    int error = 0;
};

/// Does not wait: a local socket accepts at once or, with EAGAIN, has too many who wait.
Connection connectTo(const SocketName& name)
{
    Connection made{.socket = posix::FileDescriptor(
                        ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))};
    if (!made.socket.isOpen() || ::connect(made.socket.get(),
                                           reinterpret_cast<const sockaddr*>(&name.address),
                                           name.length) != 0)
        made.error = errno;
    return made;
}

/// Asks for the other end's ways to authenticate; false when it has hung up.
bool askForWays(const posix::FileDescriptor& socket)
{
    constexpr std::string_view kQuestion("\0AUTH\r\n", 7);
    return ::send(socket.get(), kQuestion.data(), kQuestion.size(), MSG_NOSIGNAL) >= 0;
}

/// Whether the other end says something when it is asked.
bool speaks(const posix::FileDescriptor& socket, std::chrono::milliseconds limit)
{
    if (!askForWays(socket))
        return true; // whoever connects will be told
    pollfd waiting = {.fd = socket.get(), .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, static_cast<int>(limit.count())) != 0;
}

} // namespace

QString sessionBusAddress()
{
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty())
        return address.startsWith(QLatin1StringView("autolaunch:")) ? QString() : address;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString socket = runtime + QLatin1StringView("/bus");
    if (runtime.isEmpty() || !QFileInfo::exists(socket))
        return {};
    return QStringLiteral("unix:path=") +
           QString::fromLatin1(QFile::encodeName(socket).toPercentEncoding("/"));
}

QString withoutIdentity(const QString& address)
{
    QStringList servers = address.split(u';');
    for (QString& server : servers) {
        const qsizetype colon = server.indexOf(u':') + 1;
        QStringList values = server.mid(colon).split(u',');
        values.removeIf(
            [](const QString& value) { return value.startsWith(QLatin1StringView("guid=")); });
        server = server.left(colon) + values.join(u',');
    }
    return servers.join(u';');
}

bool isSilent(const QString& address, std::chrono::milliseconds limit)
{
    for (const QByteArray& one : address.toUtf8().split(';')) {
        const auto name = socketOf(one);
        if (!name)
            return false;
        const Connection connection = connectTo(*name);
        if (connection.error == 0)
            return !speaks(connection.socket, limit);
        if (connection.error == EAGAIN)
            return true;
    }
    return false;
}

QString systemBusAddress()
{
    return qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS",
                                QStringLiteral("unix:path=/var/run/dbus/system_bus_socket"));
}

QDBusConnection
connectionTo(const QString& address, const QString& name, std::chrono::milliseconds limit)
{
    if (address.isEmpty() || isSilent(address, limit))
        return QDBusConnection(name);
    return QDBusConnection::connectToBus(address, name);
}

void connectToLoss(QDBusConnection bus, QObject* receiver, const char* slot)
{
    bus.connect(QString(),
                QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"),
                QStringLiteral("Disconnected"),
                receiver,
                slot);
}

struct BusReturn::Question
{
    posix::FileDescriptor socket;
    QSocketNotifier answer{QSocketNotifier::Read};
};

BusReturn::BusReturn(QString address,
                     std::chrono::milliseconds interval,
                     std::chrono::milliseconds longest)
    : m_address(std::move(address))
    , m_interval(interval)
    , m_longest(longest)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &BusReturn::look);
}

BusReturn::~BusReturn() = default;

void BusReturn::start()
{
    if (!m_timer.isActive())
        m_timer.start(m_interval);
}

void BusReturn::look()
{
    m_questions.clear();
    for (const QByteArray& server : m_address.toUtf8().split(';'))
        ask(server);
    m_timer.start(std::min(m_timer.intervalAsDuration() * 2, m_longest));
}

void BusReturn::ask(const QByteArray& server)
{
    const auto name = socketOf(server);
    if (!name)
        return;
    Connection connection = connectTo(*name);
    if (connection.error != 0 || !askForWays(connection.socket))
        return;
    const int socket = connection.socket.get();
    auto question = std::make_unique<Question>(std::move(connection.socket));
    question->answer.setSocket(socket);
    connect(&question->answer, &QSocketNotifier::activated, this, [this, &asked = *question] {
        listen(asked);
    });
    question->answer.setEnabled(true);
    m_questions.push_back(std::move(question));
}

void BusReturn::listen(Question& question)
{
    char first = 0;
    if (::recv(question.socket.get(), &first, sizeof first, MSG_DONTWAIT) <= 0) {
        question.answer.setEnabled(false); // it has hung up
        return;
    }
    m_timer.stop();
    // Not at once: it is one of them that tells of the answer.
    QMetaObject::invokeMethod(this, [this] { m_questions.clear(); }, Qt::QueuedConnection);
    for (const auto& each : m_questions)
        each->answer.setEnabled(false);
    Q_EMIT busIsBack();
}

} // namespace platform::dbus
