// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"
#include "sync/folded_rows.h"

#include <string>

namespace syncing {

/// The body that begins with `beginning` and has `rows`, made row after row while it is sent, so
/// that of a backlog never more than a piece is in memory, and nothing before there is a
/// connection.
[[nodiscard]] platform::StreamedBody uploadBody(std::string beginning, const FoldedRows& rows);

} // namespace syncing
