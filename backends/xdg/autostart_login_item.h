// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/login_item.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform::xdg {

/// Starting at login by an entry in the user's autostart folder (Desktop Application Autostart
/// Specification). A file of the same name in one of the system's folders counts as long as the
/// user has none.
class AutostartLoginItem final : public LoginItem
{
public:
    /// What it goes by.
    struct Session
    {
        /// Where the user's settings are; none when the system names no place.
        std::optional<QString> configHome;
        /// Where the system's are, the first wins.
        QStringList configDirs;
        /// The names that the desktop gives itself.
        QStringList currentDesktops;
        /// Where programs are found by name.
        QStringList programFolders;

        /// As the variables XDG_CONFIG_HOME, XDG_CONFIG_DIRS, XDG_CURRENT_DESKTOP and PATH say.
        [[nodiscard]] static Session of(const QProcessEnvironment& environment);
    };

    /// `executable` is the absolute path of what is to be started.
    AutostartLoginItem(Session session, QString executable);

    [[nodiscard]] bool isEnabled() const override;
    [[nodiscard]] Outcome setEnabled(bool enabled) override;

private:
    [[nodiscard]] QString userFile() const;
    [[nodiscard]] QString systemFile() const;
    [[nodiscard]] Outcome enable();
    [[nodiscard]] Outcome disable();
    [[nodiscard]] Outcome write(const QByteArray& content);

    Session m_session;
    QString m_executable;
};

} // namespace platform::xdg
