// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/program.h"

int main(int argc, char** argv)
{
    return app::runProgram(argc, argv);
}
