// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <utility>

namespace service {

/// Hashes passwords with Argon2id (RFC 9106), which takes 64 MiB and a tenth of a second each; so
/// only a few are worked on at the same time. Any thread.
class PasswordHasher final
{
public:
    /// Needs libsodium, which it initialises.
    PasswordHasher();

    /// The text to store for `password`; nothing when there is no memory. Only while there is a
    /// hasher, or after.
    [[nodiscard]] static std::optional<std::string> hash(std::string_view password);

    /// A place among the few. Ends with it.
    class Turn final
    {
    public:
        explicit Turn(PasswordHasher& hasher)
            : m_hasher(&hasher)
        {
        }

        Turn(Turn&& other) noexcept
            : m_hasher(std::exchange(other.m_hasher, nullptr))
        {
        }

        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        Turn& operator=(Turn&&) = delete;
        ~Turn();

        /// Whether `password` is the one that `stored` was made of. Without `stored` it is not, but
        /// that takes as long.
        [[nodiscard]] bool verify(std::string_view password,
                                  const std::optional<std::string>& stored) const;

    private:
        PasswordHasher* m_hasher;
    };

    /// Waits for a place; nothing when there is none within `patience`.
    [[nodiscard]] std::optional<Turn> turn(std::chrono::milliseconds patience);

private:
    static constexpr int kAtTheSameTime = 2;

    std::counting_semaphore<kAtTheSameTime> m_places{kAtTheSameTime};
    std::string m_decoy; // the hash of a password that nobody has
};

} // namespace service
