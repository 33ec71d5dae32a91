// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

namespace platform {

/// The user's persistent settings: texts by key, with numbers and instants written as texts.
/// Main thread only; never blocks. A value that was set is what is read from then on, and is on its
/// way to the disk when the setter returns. A disk that refuses loses it at the end of the process.
class UserDefaults
{
public:
    UserDefaults() = default;
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;
    virtual ~UserDefaults() = default;

    /// The text under `key`; none when there is none.
    [[nodiscard]] virtual std::optional<QString> string(const QString& key) const = 0;

    virtual void setString(const QString& key, const QString& value) = 0;

    /// Nothing is read under `key` any more.
    virtual void remove(const QString& key) = 0;

    /// The whole number under `key`; none when there is none or its text is not one of 64 bits.
    [[nodiscard]] std::optional<qint64> integer(const QString& key) const;

    void setInteger(const QString& key, qint64 value);

    /// The instant under `key`, in seconds since 2001-01-01T00:00:00Z, to the millisecond; none
    /// when there is none or its text is not an ISO 8601 instant with its zone.
    [[nodiscard]] std::optional<double> date(const QString& key) const;

    /// `seconds` since 2001-01-01T00:00:00Z, finite.
    void setDate(const QString& key, double seconds);
};

} // namespace platform
