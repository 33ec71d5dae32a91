// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/required_programs.h"

#include <QStandardPaths>

namespace support {

QString missingPrograms(const QStringList& programs)
{
    QStringList missing;
    for (const QString& program : programs) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            missing.append(program);
    }
    if (missing.isEmpty())
        return {};
    return QStringLiteral("not installed: ") + missing.join(QStringLiteral(", "));
}

bool missingProgramsAreFailures()
{
    return qEnvironmentVariableIsSet("CI");
}

} // namespace support
