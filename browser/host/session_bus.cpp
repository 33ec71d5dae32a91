// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "browser/host/session_bus.h"

#include <array>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace browser {

namespace {

constexpr const char* kMonitor = QUILLSTEP_BUNDLE_IDENTIFIER;
constexpr const char* kPath = "/com/velomira/UsageMonitor/Browsers";
constexpr const char* kInterface = QUILLSTEP_BUNDLE_IDENTIFIER ".Browsers1";
constexpr int kTimeToAnswerMs = 2000;
// One that is starting has its name before it listens.
constexpr int kAttemptsToBeIntroduced = 20;
constexpr std::chrono::milliseconds kBetweenAttempts(100);
constexpr const char* kComesAndGoes =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='" QUILLSTEP_BUNDLE_IDENTIFIER "'";
constexpr const char* kAsks =
    "type='signal',sender='" QUILLSTEP_BUNDLE_IDENTIFIER
    "',path='/com/velomira/UsageMonitor/Browsers',"
    "interface='" QUILLSTEP_BUNDLE_IDENTIFIER ".Browsers1',member='Wanted'";

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

/// The answer to `question`; none with `error` set, unless that is null.
Message answerTo(DBusConnection* connection, const Message& question, DBusError* error)
{
    if (!question)
        return nullptr;
    ::dbus_message_set_auto_start(question.get(), 0U);
    return Message(::dbus_connection_send_with_reply_and_block(
        connection, question.get(), kTimeToAnswerMs, error));
}

/// The answer of the bus itself to a question about `name`.
Message askTheBus(DBusConnection* connection, const char* method, const char* name)
{
    const Message question(::dbus_message_new_method_call(
        DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, method));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the library's way
    if (!question || ::dbus_message_append_args(
                         question.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID) == 0U)
        return nullptr;
    return answerTo(connection, question, nullptr);
}

/// The one value of `answer`, which a text does not outlive; `none` when it has none of this type.
template <typename T> T valueOf(const Message& answer, int type, T none)
{
    T value = none;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the library's way
    return answer && ::dbus_message_get_args(
                         answer.get(), nullptr, type, &value, DBUS_TYPE_INVALID) != 0U
               ? value
               : none;
}

/// Empty where there is none, or none that may be read.
std::string targetOf(const std::string& link)
{
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlink(link.c_str(), target.data(), target.size());
    return size > 0 ? std::string(target.data(), static_cast<std::size_t>(size)) : std::string();
}

/// By path alone a program with a view of its own of the file system could pass for any. Only root
/// makes files that are root's, and an update removes the one that runs.
bool isReplaced(const struct stat& running, const struct stat& installed)
{
    return running.st_nlink == 0 && running.st_uid == 0 && installed.st_uid == 0;
}

/// Whether the process `pid` runs the usage monitor installed beside this program. Only a process
/// that may be looked at can be it. An installed file that was replaced while it runs counts, if it
/// is root's.
bool runsMonitor(std::uint32_t pid)
{
    const std::string own = targetOf("/proc/self/exe");
    const std::string monitor = own.substr(0, own.rfind('/') + 1) + QUILLSTEP_EXECUTABLE_NAME;
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    struct stat installed = {};
    struct stat running = {};
    if (own.empty() || ::stat(monitor.c_str(), &installed) != 0 ||
        ::stat(link.c_str(), &running) != 0)
        return false;
    if (running.st_dev == installed.st_dev && running.st_ino == installed.st_ino)
        return true;
    return isReplaced(running, installed) && targetOf(link) == monitor + " (deleted)";
}

bool isStarting(const DBusError& error)
{
    const std::string_view name = error.name;
    return name == DBUS_ERROR_UNKNOWN_OBJECT || name == DBUS_ERROR_UNKNOWN_METHOD ||
           name == DBUS_ERROR_UNKNOWN_INTERFACE;
}

Message messageFor(const std::string& monitor, const std::string& family, const Report& report)
{
    Message message(::dbus_message_new_method_call(monitor.c_str(), kPath, kInterface, "Report"));
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
        ::dbus_bus_add_match(m_connection.get(), kComesAndGoes, nullptr);
        ::dbus_bus_add_match(m_connection.get(), kAsks, nullptr);
        return {};
    }
    std::string problem = "the session bus cannot be reached";
    if (::dbus_error_is_set(&error) != 0U)
        problem += std::string(": ") + error.message;
    ::dbus_error_free(&error);
    return problem;
}

std::string SessionBus::meetMonitor()
{
    const std::string monitor = owner();
    if (monitor.empty())
        return {};
    const auto process = valueOf<dbus_uint32_t>(
        askTheBus(m_connection.get(), "GetConnectionUnixProcessID", monitor.c_str()),
        DBUS_TYPE_UINT32,
        0);
    if (const std::string problem = introduce(monitor); !problem.empty())
        return owner() == monitor ? problem : std::string();
    const bool isOurs = process != 0 && runsMonitor(process);
    // While its connection is there, no other process has got its number.
    if (owner() != monitor)
        return {};
    if (!isOurs)
        return "who has the usage monitor's name on the session bus is another program";
    m_monitor = monitor;
    return {};
}

/// The unique name of who has the usage monitor's name; empty for nobody.
std::string SessionBus::owner()
{
    return valueOf<const char*>(
        askTheBus(m_connection.get(), "GetNameOwner", kMonitor), DBUS_TYPE_STRING, "");
}

/// Asks `monitor` to let us see who it is. What is wrong, as one phrase; empty when nothing is.
std::string SessionBus::introduce(const std::string& monitor)
{
    std::string problem;
    bool isToBeAskedAgain = true;
    for (int i = 0; i < kAttemptsToBeIntroduced && isToBeAskedAgain; ++i) {
        if (i > 0)
            std::this_thread::sleep_for(kBetweenAttempts);
        const Message question(
            ::dbus_message_new_method_call(monitor.c_str(), kPath, kInterface, "Introduce"));
        DBusError error = DBUS_ERROR_INIT;
        if (answerTo(m_connection.get(), question, &error))
            return {};
        problem = "the usage monitor does not say who it is";
        isToBeAskedAgain = ::dbus_error_is_set(&error) != 0U && isStarting(error);
        if (::dbus_error_is_set(&error) != 0U)
            problem += std::string(": ") + error.message;
        ::dbus_error_free(&error);
    }
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
    if (!hasMonitor() || !m_latest || !m_isOwed || m_unanswered != 0)
        return;
    const Message message = messageFor(m_monitor, m_family, *m_latest);
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
    const bool isAsking = ::dbus_message_is_signal(message, kInterface, "Wanted") != 0U &&
                          ::dbus_message_has_sender(message, m_monitor.c_str()) != 0U;
    if (isAnswer)
        m_unanswered = 0;
    if (isAsking)
        m_isOwed = m_latest.has_value();
    if (::dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged") != 0U &&
        ::dbus_message_has_sender(message, DBUS_SERVICE_DBUS) != 0U)
        m_monitor.clear(); // whoever comes next has yet to be met
    sendLatest();
}

} // namespace browser
