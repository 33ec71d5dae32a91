// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/test_program.h"

#include <cstdio>
#include <map>
#include <string>
#include <string_view>

namespace support {

namespace {

using Tests = std::map<std::string, KnownTest::Run, std::less<>>;

Tests& tests()
{
    static Tests all;
    return all;
}

/// "instance_lock" for ".../tst_instance_lock.cpp".
std::string unitOf(std::string_view source)
{
    source.remove_prefix(source.rfind("tst_") + 4);
    return std::string(source.substr(0, source.find('.')));
}

} // namespace

KnownTest::KnownTest(const char* source, Run test)
{
    tests().emplace(unitOf(source), test);
}

int KnownTest::run(int argc, char** argv)
{
    const auto test = argc > 1 ? tests().find(std::string_view(argv[1])) : tests().end();
    if (test == tests().end()) {
        std::fprintf(stderr, "Usage: %s TEST [OPTIONS OF QT TEST]\nTests:\n", argv[0]);
        for (const auto& [name, function] : tests())
            std::fprintf(stderr, "  %s\n", name.c_str());
        return 2;
    }
    argv[1] = argv[0];
    return test->second(argc - 1, argv + 1);
}

} // namespace support

int main(int argc, char** argv)
{
    return support::KnownTest::run(argc, argv);
}
