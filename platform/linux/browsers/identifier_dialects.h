// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/browsers/address_source.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace platform::browsers {

/// How browsers are known on Linux, by their identifiers: names of desktop files, application ids
/// of Wayland, window classes of X11, also those of Flatpak and Snap packages.
/// Pure functions, any thread.

/// The family of the browser `identifier`, whatever its case and with or without a dialect; none
/// for every other application.
[[nodiscard]] std::optional<Family> familyOf(QStringView identifier);

/// Whether one of the identifiers of a window is that of a browser that is never asked for an
/// address, whatever its case. Such a one has no family.
[[nodiscard]] bool isNeverAsked(const QStringList& identifiers);

/// `identifier` with the dialect that the browser answers to, "+Chrome" or "+Safari"; as it is when
/// it holds one of these words already, and for every other application.
[[nodiscard]] QString withDialect(const QString& identifier);

} // namespace platform::browsers
