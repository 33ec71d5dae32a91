// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

/// Ends the test function, with the reason, when `outcome`, a Result, is a failure.
#define VERIFY_OUTCOME(outcome)                                                                    \
    do {                                                                                           \
        const auto reached = outcome;                                                              \
        QVERIFY2(reached, reached ? "" : qPrintable(reached.error().text));                        \
    } while (false)
