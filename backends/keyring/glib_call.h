// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/glib_owned.h"

#include <coroutine>

namespace platform::secrets {

using posix::GlibOwned;

/// One asynchronous call of GLib, to be awaited in the coroutine that it is a variable of:
///     GlibCall call;
///     g_bus_get(type, cancellable, GlibCall::end, &call);
///     bus.reset(g_bus_get_finish(co_await call, error.out()));
/// Every call must be awaited; one that is cancelled ends, too. The thread's default main context
/// must be turned.
class GlibCall final
{
public:
    GlibCall() = default;
    GlibCall(const GlibCall&) = delete;
    GlibCall& operator=(const GlibCall&) = delete;
    ~GlibCall() = default;

    /// The callback for the call, whose data is the object.
    static void end(GObject* /*source*/, GAsyncResult* result, gpointer call)
    {
        auto* const self = static_cast<GlibCall*>(call);
        self->m_result = posix::shareOf(result);
        self->m_waiting.resume(); // it may go with the coroutine that goes on
    }

    /// The result is this object's.
    auto operator co_await()
    {
        struct Awaiter
        {
            GlibCall& call;

            // NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked as a member
            [[nodiscard]] bool await_ready() const noexcept { return false; }

            void await_suspend(std::coroutine_handle<> waiting) { call.m_waiting = waiting; }

            [[nodiscard]] GAsyncResult* await_resume() const { return call.m_result.get(); }
        };

        return Awaiter{*this};
    }

private:
    GlibOwned<GAsyncResult> m_result;
    std::coroutine_handle<> m_waiting;
};

/// The error of the call that ended last.
class GlibError final
{
public:
    GlibError() = default;
    GlibError(const GlibError&) = delete;
    GlibError& operator=(const GlibError&) = delete;

    ~GlibError() { g_clear_error(&m_error); }

    [[nodiscard]] GError** out()
    {
        g_clear_error(&m_error);
        return &m_error;
    }

    [[nodiscard]] const GError* get() const { return m_error; }

private:
    GError* m_error = nullptr;
};

} // namespace platform::secrets
