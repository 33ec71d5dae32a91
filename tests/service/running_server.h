// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/http/server.h"

#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

/// A server of the service's in this process, on a port of this machine, in a thread of its own.
class RunningServer final
{
public:
    RunningServer(std::vector<service::Route> routes, service::HttpServer::Settings settings)
        : m_server(std::move(routes), std::move(settings))
        , m_port(m_server.listen("127.0.0.1", 0).value())
        , m_stop(::eventfd(0, EFD_CLOEXEC))
        , m_thread([this] { m_ended = m_server.serve(m_stop); })
    {
    }

    ~RunningServer()
    {
        static_cast<void>(stop());
        ::close(m_stop);
    }

    RunningServer(const RunningServer&) = delete;
    RunningServer& operator=(const RunningServer&) = delete;

    [[nodiscard]] int port() const { return m_port; }

    /// Begins the end.
    void askToEnd() const { ::eventfd_write(m_stop, 1); }

    /// Waits for it; whether all requests were finished or broken off.
    [[nodiscard]] bool stop()
    {
        askToEnd();
        if (m_thread.joinable())
            m_thread.join();
        return m_ended;
    }

private:
    service::HttpServer m_server;
    int m_port;
    int m_stop;
    bool m_ended = false;
    std::jthread m_thread;
};
