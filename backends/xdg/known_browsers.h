// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <cstdint>
#include <optional>

namespace platform::browsers {

// The one list of browsers, and what follows from it. Everything here is pure. Any thread.

/// The families of browsers, by how they are asked.
enum class Family : std::uint8_t {
    Chromium,
    Other, ///< Firefox and its kin, GNOME Web
};

/// A browser that may tell addresses.
struct KnownBrowser
{
    QLatin1StringView name;
    Family family = Family::Chromium;
    /// Names of desktop files without ".desktop", application ids of Wayland, window classes of
    /// X11, also those of Flatpak and Snap packages. Whatever their case.
    QStringList identifiers;
    // Without them GCC takes what an entry leaves out for forgotten.
    // NOLINTBEGIN(readability-redundant-member-init)
    /// What its windows' titles end with, after a dash: trade marks, which no language changes.
    /// None where titles do not name it.
    QList<QStringView> titleNames{};
    /// Before that name a title may tell of more pages and of the profile.
    bool hasProfileInTitle = false;

    /// The folder with the user's data: in $XDG_CONFIG_HOME for the family of Chromium, in the home
    /// folder for others. Empty for a browser that does not run our extension; then what follows is
    /// empty, too.
    QLatin1StringView dataFolder{};
    /// In $XDG_CONFIG_HOME, the data folder of users who never had the other; empty for none. Host
    /// manifests are looked for in the other all the same.
    QLatin1StringView newDataFolder{};
    /// The data folder in which it looks for host manifests if that is another browser's.
    QLatin1StringView manifestsOfOther{};
    /// Where packages put host manifests; empty where it is not known.
    QLatin1StringView systemManifestFolder{};
    /// How users start it, and as what it runs.
    QStringList programs{};
    QStringList executables{};
    // NOLINTEND(readability-redundant-member-init)

    /// Where it looks for host manifests, beside its data folder's path.
    [[nodiscard]] QString manifestFolder() const;
};

[[nodiscard]] const QList<KnownBrowser>& knownBrowsers();

/// The family of the browser `identifier`, which may carry its dialect; none for every other
/// application.
[[nodiscard]] std::optional<Family> familyOf(QStringView identifier);

/// `identifier` with the dialect that the browser answers to, "+Chrome" or "+Safari"; as it is when
/// it holds one of these words already, and for every other application.
[[nodiscard]] QString withDialect(const QString& identifier);

/// Whether one of the identifiers of a window is that of Tor Browser, which is never asked for an
/// address and has no family.
[[nodiscard]] bool isNeverAsked(const QStringList& identifiers);

/// Whether a browser window with the title `windowTitle` shows a page with the title `pageTitle`:
/// the page's title, a dash and the browser's name, and nothing else; with Edge, how many more
/// pages the window has and the profile's name may stand before its own. A browser that is not
/// known by name never does, nor a page without a title. The windows in which Firefox is private
/// have more than its name there, in whatever language; that keeps them out, as Firefox itself does
/// not tell its extensions when such a window comes to the front. Pure, any thread.
[[nodiscard]] bool isWindowOfPage(QStringView windowTitle, QStringView pageTitle, Family family);

/// Whether `text` has a bracket of any kind: in them a private window says what it is.
[[nodiscard]] bool hasBracket(QStringView text);

/// Whether it is the title of a window of Tor Browser. Its executable is Firefox's, so the desktop
/// may take it for one.
/// Pure, any thread.
[[nodiscard]] bool isWindowOfTorBrowser(QStringView windowTitle);

} // namespace platform::browsers
