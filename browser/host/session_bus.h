// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <dbus/dbus.h>
#include <memory>
#include <optional>
#include <string>

namespace browser {

/// What the extension tells: the page on show in the browser window that has the focus.
struct Report
{
    /// False when no window of the browser has the focus, or a private one.
    bool isFocused = false;
    // Empty unless it is focused, and for a page whose address is not told.
    std::string address;
    std::string title;
};

/// Hands the latest report to the usage monitor over the session bus: at most one call is on its
/// way, and of the reports that come meanwhile only the last one waits. Tells it again when asked.
/// Speaks to the one usage monitor that it has met, and to nobody else; starts none.
/// One thread.
class SessionBus final
{
public:
    /// `family` is that of the browser: "chromium" or "firefox".
    explicit SessionBus(std::string family);
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;
    ~SessionBus();

    /// Connects to the bus that the environment names; may wait for its answer for as long as the
    /// process lets it. What is wrong, as one phrase; empty when nothing is.
    [[nodiscard]] std::string connect();

    /// Looks for the usage monitor, and makes sure that it is the one installed beside this program
    /// before anything is told. What is wrong with the one that there is, as one phrase; empty when
    /// nothing is, and when there is none. Waits for answers, some seconds at most.
    [[nodiscard]] std::string meetMonitor();

    /// Whether it has been met and is still there.
    [[nodiscard]] bool hasMonitor() const { return !m_monitor.empty(); }

    /// Only while hasMonitor().
    void tell(const Report& report);

    /// To be polled, for reading and, while isSending(), for writing.
    [[nodiscard]] int descriptor() const;
    [[nodiscard]] bool isSending() const;

    /// Does what can be done without waiting. False when the connection has ended.
    [[nodiscard]] bool work();

private:
    struct Close
    {
        void operator()(DBusConnection* connection) const noexcept;
    };

    static DBusHandlerResult
    receive(DBusConnection* connection, DBusMessage* message, void* self) noexcept;
    void take(DBusMessage* message);
    [[nodiscard]] std::string owner();
    [[nodiscard]] std::string introduce(const std::string& monitor);
    void sendLatest();

    std::string m_family;
    std::string m_monitor; // its unique name, which no other ever gets
    std::unique_ptr<DBusConnection, Close> m_connection;
    std::optional<Report> m_latest;
    bool m_isOwed = false;          // m_latest has not been sent
    std::uint32_t m_unanswered = 0; // the call on its way, by its serial
};

} // namespace browser
