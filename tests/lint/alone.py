#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Compiles every source file of the product by itself, without making a program of it: each includes what it needs.

Usage: alone.py ROOT

Other builds would not tell, since they compile the toolkit's headers beforehand and several files together. Files that
passed are not looked at again until one of them or one of our headers that they include changes.
"""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

import tidy


def findings(root: pathlib.Path, file: pathlib.Path, command: str) -> str:
    """What the compiler has to say; empty when the file compiles."""
    tree = root / "build/tidy"
    options = tidy.settings(command, file)
    passed = tree / "passed" / f"alone-{tidy.fingerprint(root, [file], tuple(options))}"
    if passed.exists():
        return ""
    done = subprocess.run(["clang++-19", *options, f"-I{tree / 'mocs'}", "-w", "-fsyntax-only", str(file)],
                          capture_output=True, text=True, check=False)
    if done.returncode == 0:
        passed.touch()
        return ""
    return done.stderr or f"{file}: clang ended with {done.returncode}\n"


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[1]).resolve()
    ours = tidy.our_commands(root)
    if not ours:
        print("alone: there is nothing to check")
        return 1
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = [text for text in pool.map(lambda item: findings(root, *item), ours.items()) if text]
    for text in found:
        print(text)
    print(f"alone: {len(found)} of {len(ours)} files do not compile" if found else f"alone: {len(ours)} files compile")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
