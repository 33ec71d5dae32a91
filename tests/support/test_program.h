// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QTest>

namespace support {

/// How many milliseconds a condition may take to hold.
inline constexpr int kPatienceOfTests = 30'000;

/// A test that its program knows. The tests of a folder share one program, `tst_FOLDER`, so that
/// the toolkit's headers are read and the libraries linked once for all of them; `tst_FOLDER UNIT
/// [OPTIONS OF QT TEST]` runs one.
class KnownTest final
{
public:
    using Run = int (*)(int argc, char** argv);

    /// To be made before main(): `source` is the path of tst_UNIT.cpp and lives for ever.
    KnownTest(const char* source, Run run);

    /// Runs the test `argv[1]`, with the rest for Qt Test; its exit code, or 2 when there is no
    /// such test.
    static int run(int argc, char** argv);
};

/// `Class` with an application object of type `Application` around it.
template <typename Class, typename Application> int runTest(int argc, char** argv)
{
    const Application application(argc, argv);
    Class test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace support

// A condition that holds in the end costs no more with more patience, and Qt's five seconds are few
// on a machine with little to give.
#undef QTRY_VERIFY
#define QTRY_VERIFY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, support::kPatienceOfTests)
#undef QTRY_COMPARE
#define QTRY_COMPARE(value, expected)                                                              \
    QTRY_COMPARE_WITH_TIMEOUT((value), expected, support::kPatienceOfTests)

/// At the end of tst_UNIT.cpp: `Class` is its test.
#define QUILLSTEP_TEST(Class) QUILLSTEP_TEST_WITH(Class, QCoreApplication)
/// The same for a test that needs QGuiApplication or QApplication.
#define QUILLSTEP_TEST_WITH(Class, Application)                                                    \
    static const support::KnownTest k##Class(__FILE__, support::runTest<Class, Application>);
