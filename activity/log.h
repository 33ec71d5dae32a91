// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLoggingCategory>

namespace activity {

/// What the store decides and what goes wrong in it, for developers; off by default. Nothing of
/// what is recorded, and no path, which has the user's name in it.
Q_DECLARE_LOGGING_CATEGORY(lcStore)

} // namespace activity
