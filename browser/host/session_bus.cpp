// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/session_bus.h"

#include <cstdlib>
#include <utility>

namespace browser {

namespace {

constexpr const char* kMonitor = "com.velomira.UsageMonitor";
constexpr const char* kPath = "/com/velomira/UsageMonitor/Browsers";
constexpr const char* kInterface = "com.velomira.UsageMonitor.Browsers1";
constexpr const char* kAppears =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='com.velomira.UsageMonitor'";
constexpr const char* kAsks =
    "type='signal',sender='com.velomira.UsageMonitor',path='/com/velomira/UsageMonitor/Browsers',"
    "interface='com.velomira.UsageMonitor.Browsers1',member='Wanted'";

/// Empty where there is none; the library would start a bus of its own.
std::string addressOfBus()
{
    // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread
    const char* named = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (named != nullptr && *named != '\0')
        return named;
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    // NOLINTEND(concurrency-mt-unsafe)
    if (folder == nullptr || *folder == '\0')
        return {};
    char* const escaped = ::dbus_address_escape_value(folder);
    if (escaped == nullptr)
        return {};
    std::string address = std::string("unix:path=") + escaped + "/bus";
    ::dbus_free(escaped);
    return address;
}

struct Unref
{
    void operator()(DBusMessage* message) const noexcept { ::dbus_message_unref(message); }
};

using Message = std::unique_ptr<DBusMessage, Unref>;

Message messageFor(const std::string& family, const Report& report)
{
    Message message(::dbus_message_new_method_call(kMonitor, kPath, kInterface, "Report"));
    const char* browser = family.c_str();
    const char* address = report.address.c_str();
    const char* title = report.title.c_str();
    const dbus_bool_t isFocused = report.isFocused ? 1U : 0U;
    if (!message)
        return message;
    ::dbus_message_set_auto_start(message.get(), 0U);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the library's way
    const bool isWhole = ::dbus_message_append_args(message.get(),
                                                    DBUS_TYPE_STRING,
                                                    &browser,
                                                    DBUS_TYPE_STRING,
                                                    &address,
                                                    DBUS_TYPE_STRING,
                                                    &title,
                                                    DBUS_TYPE_BOOLEAN,
                                                    &isFocused,
                                                    DBUS_TYPE_INVALID) != 0U;
    return isWhole ? std::move(message) : nullptr;
}

} // namespace

void SessionBus::Close::operator()(DBusConnection* connection) const noexcept
{
    ::dbus_connection_close(connection);
    ::dbus_connection_unref(connection);
}

SessionBus::SessionBus(std::string family)
    : m_family(std::move(family))
{
}

SessionBus::~SessionBus() = default;

std::string SessionBus::connect()
{
    const std::string address = addressOfBus();
    if (address.empty())
        return "there is no session bus";
    DBusError error = DBUS_ERROR_INIT;
    m_connection.reset(::dbus_connection_open_private(address.c_str(), &error));
    if (m_connection && ::dbus_bus_register(m_connection.get(), &error) != 0U &&
        ::dbus_connection_add_filter(m_connection.get(), receive, this, nullptr) != 0U) {
        ::dbus_connection_set_exit_on_disconnect(m_connection.get(), 0U);
        ::dbus_bus_add_match(m_connection.get(), kAppears, nullptr);
        ::dbus_bus_add_match(m_connection.get(), kAsks, nullptr);
        return {};
    }
    std::string problem = "the session bus cannot be reached";
    if (::dbus_error_is_set(&error) != 0U)
        problem += std::string(": ") + error.message;
    ::dbus_error_free(&error);
    return problem;
}

void SessionBus::tell(const Report& report)
{
    m_latest = report;
    m_isOwed = true;
    sendLatest();
}

void SessionBus::sendLatest()
{
    if (!m_latest || !m_isOwed || m_unanswered != 0)
        return;
    const Message message = messageFor(m_family, *m_latest);
    if (message && ::dbus_connection_send(m_connection.get(), message.get(), &m_unanswered) != 0U)
        m_isOwed = false;
}

int SessionBus::descriptor() const
{
    int descriptor = -1;
    ::dbus_connection_get_unix_fd(m_connection.get(), &descriptor);
    return descriptor;
}

bool SessionBus::isSending() const
{
    return ::dbus_connection_has_messages_to_send(m_connection.get()) != 0U;
}

bool SessionBus::work()
{
    ::dbus_connection_read_write(m_connection.get(), 0);
    while (::dbus_connection_dispatch(m_connection.get()) == DBUS_DISPATCH_DATA_REMAINS) {
    }
    return ::dbus_connection_get_is_connected(m_connection.get()) != 0U;
}

DBusHandlerResult
SessionBus::receive(DBusConnection* /*connection*/, DBusMessage* message, void* self) noexcept
{
    static_cast<SessionBus*>(self)->take(message);
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

void SessionBus::take(DBusMessage* message)
{
    const bool isAnswer =
        m_unanswered != 0 && ::dbus_message_get_reply_serial(message) == m_unanswered;
    const bool isAsking = ::dbus_message_is_signal(message, kInterface, "Wanted") != 0U;
    const bool isNewcomer =
        ::dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged") != 0U;
    if (isAnswer || isNewcomer)
        m_unanswered = 0; // one that has gone does not answer any more
    if (isAsking || isNewcomer)
        m_isOwed = m_latest.has_value();
    sendLatest();
}

} // namespace browser
