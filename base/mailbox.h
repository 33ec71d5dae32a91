// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

namespace platform {

/// Hands the newest of several values to another thread, without a lock: a value that nobody has
/// taken yet is superseded by the next one.
/// Any number of threads may put and take.
template <typename Value> class Mailbox final
{
public:
    Mailbox() = default;
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    ~Mailbox() { take(); }

    /// Leaves `value` in place of what waits. True when nothing did, so that the taker is to be
    /// told.
    [[nodiscard]] bool put(Value value)
    {
        return replace(std::make_unique<Value>(std::move(value))) == nullptr;
    }

    /// What waits, if anything.
    std::optional<Value> take()
    {
        const std::unique_ptr<Value> taken = replace(nullptr);
        return taken != nullptr ? std::optional(std::move(*taken)) : std::nullopt;
    }

private:
    std::unique_ptr<Value> replace(std::unique_ptr<Value> next)
    {
        return std::unique_ptr<Value>(
            m_waiting.exchange(next.release(), std::memory_order_acq_rel));
    }

    std::atomic<Value*> m_waiting = nullptr;
};

} // namespace platform
