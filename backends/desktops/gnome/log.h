// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>

namespace platform::gnome {

// For developers; off by default. Nothing of the user's.
Q_DECLARE_LOGGING_CATEGORY(lcGnome)

} // namespace platform::gnome
