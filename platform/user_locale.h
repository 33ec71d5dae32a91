// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcessEnvironment>

namespace platform {

/// The locale in which `environment` wants times to be written, as ICU names it ("de_DE"): what the
/// first of LC_ALL, LC_TIME and LANG that is not empty says, without its character set. That of
/// American English for "C" and "POSIX", and when none says anything. Any thread.
///
/// ICU's own default would take an empty variable for an answer, and never looks at LC_TIME.
[[nodiscard]] QByteArray userTimeLocale(const QProcessEnvironment& environment);

} // namespace platform
