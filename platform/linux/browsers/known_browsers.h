// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/browsers/address_source.h"

#include <QLatin1StringView>
#include <QList>
#include <QStringList>

namespace platform::browsers {

/// A browser that runs our extension, and where it looks for native hosts.
struct KnownBrowser
{
    QLatin1StringView name;
    Family family = Family::Chromium;
    /// The folder with the user's data and the one where it looks for host manifests, which may be
    /// another browser's; both in the home folder or in $XDG_CONFIG_HOME.
    bool isInConfigHome = false;
    QLatin1StringView dataFolder;
    QString manifestFolder;
    /// In $XDG_CONFIG_HOME, the data folder of users who never had the other; empty for none. Host
    /// manifests are looked for in the other all the same.
    QLatin1StringView newDataFolder;
    /// Where packages put host manifests; empty where it is not known.
    QLatin1StringView systemManifestFolder;
    /// How users start it, and as what it runs.
    QStringList programs;
    QStringList executables;
};

/// Any thread.
[[nodiscard]] const QList<KnownBrowser>& knownBrowsers();

} // namespace platform::browsers
