// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/required_programs.h"

#include <QString>
#include <QTemporaryDir>
#include <QTest>

namespace support {

/// A file system of a few bytes in memory, to be filled up. Needs root.
class SmallDisk final
{
public:
    explicit SmallDisk(qint64 bytes);
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk();

    [[nodiscard]] bool isMounted() const { return m_problem.isEmpty(); }

    /// Why there is none.
    [[nodiscard]] QString problem() const { return m_problem; }

    /// From then on nothing can be written to it; false when the system refuses.
    [[nodiscard]] bool makeReadOnly();

    [[nodiscard]] QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
    QString m_problem;
};

} // namespace support

/// Ends the test where no small disk is to be had; in CI that is a failure.
#define REQUIRE_SMALL_DISK(disk)                                                                   \
    do {                                                                                           \
        if (!(disk).isMounted() && !support::missingProgramsAreFailures())                         \
            QSKIP("mounting a small disk needs root");                                             \
        QVERIFY2((disk).isMounted(), qPrintable((disk).problem()));                                \
    } while (false)
