// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/environment.h"

#include <QCoroTask>
#include <QStringList>

namespace app {

/// The answer to --diagnose, a line each: `desktop`, being what was found of the desktop; where the
/// activity file is, whether it can be read and written, how much it holds; whether somebody is
/// signed in and whether the service can be reached; how to have more told. Nothing personal, and
/// nothing on disk is changed. Blocks on the disk; the keyring and the network have some seconds
/// each at most. `environment` must live until it is done.
[[nodiscard]] QCoro::Task<QStringList> diagnosis(const platform::Environment* environment,
                                                 QStringList desktop);

} // namespace app
