// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace shell {

/// Of the folder: which windows open and go, and what the menu is asked for.
Q_DECLARE_LOGGING_CATEGORY(lcShell)

/// One of the places where the application meets the user.
struct Scene
{
    enum class Kind : std::uint8_t {
        MenuBarExtra, ///< the status icon with its menu
        WindowGroup,  ///< a window that is opened by its identifier
        Settings,     ///< the settings window
    };

    Kind kind;
    /// By which a window is asked for; the status icon has none.
    QString identifier;
    /// Of the window; of the icon, what it is called.
    QString title;
    /// The symbol that labels it; of the status icon only.
    QString symbol;
    /// In device-independent pixels; none when the content decides.
    std::optional<QSize> defaultSize;
    /// An address that contains one of these texts opens the window.
    QStringList handlesExternalEventsMatching;
};

inline const QString kDashboardWindow = QStringLiteral("dashboard");
inline const QString kLoginWindow = QStringLiteral("login");
inline const QString kSettingsWindow = QStringLiteral("settings");

/// All four, in the order in which an address is compared with them.
[[nodiscard]] const std::vector<Scene>& scenes();

/// The scene of the window `identifier`; null when there is none.
[[nodiscard]] const Scene* windowScene(const QString& identifier);

/// The address of our scheme that the window `identifier` answers.
[[nodiscard]] QString urlOf(const QString& identifier);

/// The identifier of the window that answers `url`, an address of our scheme: of the first scene
/// one of whose texts it contains. None when no scene does.
[[nodiscard]] std::optional<QString> windowFor(const QString& url);

} // namespace shell
