// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace syncing {

/// The text of an error answer; none when it is not valid UTF-8. A body of `limit` bytes may have
/// been cut in the middle of a character, which is then left out.
[[nodiscard]] std::optional<QString> errorBodyText(const QByteArray& body, qsizetype limit);

} // namespace syncing
