// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "browser/host/report.h"

#include <cstdint>
#include <dbus/dbus.h>
#include <memory>
#include <optional>
#include <string>

namespace browser {

/// Hands the latest report to the usage monitor over the session bus: at most one call is on its
/// way, and of the reports that come meanwhile only the last one waits. Tells it again to a usage
/// monitor that starts later, or that asks. Starts none.
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
    void sendLatest();

    std::string m_family;
    std::unique_ptr<DBusConnection, Close> m_connection;
    std::optional<Report> m_latest;
    bool m_isOwed = false;          // m_latest has not been sent
    std::uint32_t m_unanswered = 0; // the call on its way, by its serial
};

} // namespace browser
