// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QTest>

namespace support {

/// Which of these programs are not installed, as a phrase; empty when all are.
[[nodiscard]] QString missingPrograms(const QStringList& programs);

/// Whether a missing program is a failure rather than a reason to skip: where CI is set.
[[nodiscard]] bool missingProgramsAreFailures();

} // namespace support

/// Ends the test function when one of the programs, a QStringList, is not installed. In
/// initTestCase() it ends all of them.
#define REQUIRE_PROGRAMS(programs)                                                                 \
    do {                                                                                           \
        const QString missing = support::missingPrograms(programs);                                \
        if (!missing.isEmpty() && support::missingProgramsAreFailures())                           \
            QFAIL(qPrintable(missing));                                                            \
        if (!missing.isEmpty())                                                                    \
            QSKIP(qPrintable(missing));                                                            \
    } while (false)
