// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoroFuture>
#include <QCoroTask>
#include <QFuture>

namespace app {

/// The result of `future`, running the event loop until it is there: for commands that do one thing
/// and end.
template <typename T> T waitFor(const QFuture<T>& future)
{
    const auto awaited = [](QFuture<T> pending) -> QCoro::Task<T> {
        co_return co_await pending;
    };
    return QCoro::waitFor(awaited(future));
}

} // namespace app
