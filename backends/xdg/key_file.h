// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/posix/glib_owned.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace platform::xdg {

/// The group "Desktop Entry" of a desktop file (Desktop Entry Specification). Keys are null-ended;
/// an absent or malformed one has no value.
/// One thread at a time.
class KeyFile final
{
public:
    enum class Purpose : std::uint8_t {
        Reading,
        Changing, ///< comments, other groups and names in other languages are kept
    };

    /// One without any keys.
    KeyFile();

    /// The file `path`; none when it cannot be read, is too large or no key file. Blocks on the
    /// disk.
    [[nodiscard]] static std::optional<KeyFile> read(const QString& path, Purpose purpose);

    [[nodiscard]] bool has(const char* key) const;
    [[nodiscard]] QString text(const char* key) const;
    /// In the user's language.
    [[nodiscard]] QString localText(const char* key) const;
    [[nodiscard]] std::optional<bool> flag(const char* key) const;
    [[nodiscard]] QStringList list(const char* key) const;

    void setText(const char* key, const QString& value);
    void setFlag(const char* key, bool value);
    void remove(const char* key);

    [[nodiscard]] QByteArray content() const;

private:
    posix::GlibOwned<GKeyFile> m_file;
};

/// The program that the value of an Exec key starts, also through "env NAME=VALUE ...", as it names
/// it; empty when it names none or its quotes do not match. Any thread.
[[nodiscard]] QString programOfExecLine(const QString& line);

} // namespace platform::xdg
