// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

/// What the settings of a Firefox say of "never remember history", which makes each of its windows
/// a private one. When in doubt it is so. Any thread.
namespace platform::atspi {

/// Whether this text of preferences (prefs.js, user.js or an administrator's) may switch it on.
/// A line that sets it to false does not.
[[nodiscard]] bool preferencesForgoHistory(const QByteArray& text);

/// As preferencesForgoHistory(), for an administrator's script, which may be obscured: each byte
/// moved by 13.
[[nodiscard]] bool scriptForgoesHistory(const QByteArray& text);

/// Whether this policies.json may switch it on.
[[nodiscard]] bool policiesForgoHistory(const QByteArray& text);

} // namespace platform::atspi
