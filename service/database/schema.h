// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "service/database/database_session.h"
#include "service/result.h"

namespace service {

/// Makes the tables of a new database and brings those of an older version up to date. Several
/// processes may do so at the same time; where all is as it should be nobody is waited for. Fails
/// for a database of a newer version.
[[nodiscard]] Outcome prepareSchema(DatabaseSession& session);

/// Whether the tables are those of this version.
[[nodiscard]] DatabaseResult<bool> hasCurrentSchema(DatabaseSession& session);

/// Whether anything can be changed: not in a replica, or where the server was told so. Changes
/// nothing itself and waits for nobody. SQLite is not asked: whether its file can be written shows
/// when it is.
[[nodiscard]] DatabaseResult<bool> isWritable(DatabaseSession& session);

} // namespace service
