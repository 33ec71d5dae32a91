// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"
#include "tests/support/child_process.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <optional>

namespace support {

/// A program with one window on a desktop of whatever kind, made with Qt or GTK.
/// Main thread. Calls block until the program has done what they ask for, for some seconds at most.
class TestWindow final
{
public:
    enum class Toolkit : std::uint8_t {
        Qt,
        Gtk,
        QtWidgets, ///< Assistive programs see it, as they see Gtk. Knows no changeTitles().
    };

    explicit TestWindow(Toolkit toolkit = Toolkit::Qt);

    /// The programs that a window needs.
    [[nodiscard]] static QStringList programs();

    /// Opens the window; returns when its program has shown it, not when it has the focus.
    /// `identifier` becomes its app id under Wayland, under X11 the instance of WM_CLASS.
    [[nodiscard]] platform::Outcome open(const QProcessEnvironment& environment,
                                         const QString& identifier,
                                         const std::optional<QString>& title);

    /// Returns when the program has handed the title on, not when the desktop knows it.
    [[nodiscard]] platform::Outcome setTitle(const QString& title);

    /// Changes the title `count` times within `time`, evenly, to "PREFIX 1" to "PREFIX count".
    /// Returns when the last one has been set.
    [[nodiscard]] platform::Outcome
    changeTitles(const QString& prefix, int count, std::chrono::milliseconds time);

    /// Ends the program.
    void close();

    [[nodiscard]] const QString& identifier() const { return m_identifier; }

    [[nodiscard]] qint64 pid() const { return m_program.pid(); }

private:
    [[nodiscard]] platform::Outcome waitFor(const char* answer, std::chrono::milliseconds limit);
    [[nodiscard]] platform::Outcome ask(const QString& order, std::chrono::milliseconds limit);

    Toolkit m_toolkit;
    QString m_identifier;
    ChildProcess m_program;
};

} // namespace support
