#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/lint/tidy.sh ROOT
#
# Compiles the product with clang-tidy; every finding is an error, all of them are shown.
# A file that passed is not looked at again until it or one of its headers changes.
set -euo pipefail

root=$1
tree=$root/build/tidy
cmake -S "$root" --preset tidy
# The build system does not know that its objects depend on the list of checks.
if [ "$root/.clang-tidy" -nt "$tree/.checked-with" ]; then cmake --build "$tree" --target clean; fi
touch -r "$root/.clang-tidy" "$tree/.checked-with"
cmake --build "$tree" --parallel "$(nproc)" -- -k 0
