// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/environment.h"

#include <QString>
#include <QStringList>

namespace app {

/// What --diagnose tells about the activity file: where it is, whether it can be read and written,
/// how much it holds. A line each; nothing personal, nothing on disk is changed. Blocks on the
/// disk.
[[nodiscard]] QStringList activityFileReport(const platform::Environment& environment);

/// Whether somebody is signed in and whether the service can be reached. A line each. Waits for the
/// keyring and the network, some seconds each at most.
[[nodiscard]] QStringList serviceReport(const platform::Environment& environment);

/// The whole answer to --diagnose, a line each, `desktop` being what was found of the desktop.
[[nodiscard]] QStringList diagnosis(const platform::Environment& environment,
                                    const QStringList& desktop);

} // namespace app
