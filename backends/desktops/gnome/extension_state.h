// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "backends/dbus/ask.h"

#include <QDBusConnection>
#include <QLoggingCategory>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <cstdint>
#include <optional>

namespace platform::gnome {

// For developers; off by default. Nothing of the user's.
Q_DECLARE_LOGGING_CATEGORY(lcGnome)

/// How the shell stands to our extension.
enum class ExtensionState : std::uint8_t {
    Unknown,      ///< The shell has not told.
    Working,      ///< It runs, or is about to.
    NotInstalled, ///< It is in none of the folders where the shell looks.
    NotLoaded,    ///< It was installed after the shell had looked.
    SwitchedOff,  ///< The user has not enabled it.
    AllOff,       ///< The user has switched off all extensions.
    Failed,       ///< It ended with an error.
    Outdated,     ///< It is made for other versions of the shell.
};

/// The name by which the shell knows the extension.
[[nodiscard]] QString extensionUuid();

/// What the shell tells of an extension (org.gnome.Shell.Extensions, GetExtensionInfo), as a state.
/// An empty `info` is one of an extension that the shell does not know; then `isInstalled` says
/// whether it is there. `extensionsAreOn` is the shell's switch for all extensions.
/// Pure; any thread.
[[nodiscard]] ExtensionState
extensionState(const QVariantMap& info, bool extensionsAreOn, bool isInstalled);

/// What the user can do about it, as whole sentences; empty when there is nothing to do.
/// Pure; any thread.
[[nodiscard]] QString adviceFor(ExtensionState state);

/// How a shell stands to our extension, kept up to date from what the shell tells. Never waits.
/// Main thread, with an event loop.
class ExtensionQuestion final : public QObject
{
    Q_OBJECT

public:
    explicit ExtensionQuestion(QDBusConnection bus);

    /// From now on asks the shell with that unique name; none when it is empty. The state is
    /// unknown until it has answered.
    void setShell(const QString& shell);

    [[nodiscard]] ExtensionState state() const { return m_state; }

Q_SIGNALS:
    /// The state is another one now.
    void changed();

private:
    Q_SLOT void hear(const QDBusMessage& signal);
    void ask();
    void decide();
    void set(ExtensionState state);

    QDBusConnection m_bus;
    QString m_shell;
    dbus::Question m_informationQuestion;
    dbus::Question m_switchQuestion;
    std::optional<QVariantMap> m_information; ///< none: the shell has refused
    bool m_extensionsAreOn = true;
    QTimer m_pause; ///< while it runs, nothing is asked
    ExtensionState m_state = ExtensionState::Unknown;
    bool m_isDue = false;
};

} // namespace platform::gnome
