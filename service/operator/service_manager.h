// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QProcessEnvironment>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace service {

/// Who has started the service, if it wants to be told how it is (sd_notify(3)). A value; any
/// thread.
class ServiceManager final
{
public:
    /// By NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID; without them nobody is told anything.
    explicit ServiceManager(const QProcessEnvironment& environment);

    /// Sends assignments such as "READY=1", one in each line. What cannot be sent is lost.
    void tell(std::string_view state) const;

    /// How often it wants to hear "WATCHDOG=1"; nothing when it does not.
    [[nodiscard]] std::optional<std::chrono::microseconds> watchdog() const { return m_watchdog; }

private:
    std::string m_socket; // a path, or a name behind '@'; empty for none
    std::optional<std::chrono::microseconds> m_watchdog;
};

/// Tells the service manager twice in each of its periods that the service is alive, as long as
/// what it posts to the service is done. Its destructor ends that.
class Watchdog final
{
public:
    /// Has a piece of work done where the service lives, some time later.
    using Post = std::function<void(std::function<void()>)>;

    Watchdog(const ServiceManager& manager, Post post);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog() = default;

private:
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::jthread m_thread; // the last one, so that the rest is there when it begins
};

} // namespace service
