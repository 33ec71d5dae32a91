// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// without_locks PROGRAM [ARGUMENT...]: becomes the program, on a system without file locks.
#include "tests/support/without_locks.h"

#include <cerrno>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc < 2 || !support::takeLocksAway(ENOLCK))
        return 126;
    ::execv(argv[1], argv + 1);
    return 127;
}
