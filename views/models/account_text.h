// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"

#include <QString>

#include <optional>

namespace views {

// Who is signed in, in short. A part of the record that is present counts, even if it is empty.
// Any thread.

/// The first characters of the first two words of the name, in capitals; else that of the e-mail
/// address; else "U". Words are set off by U+0020 only, and a character is what a reader takes for
/// one. Empty when what is taken has none.
[[nodiscard]] QString getInitials(const std::optional<account::UserResponse>& user);

} // namespace views
