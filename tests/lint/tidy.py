#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Runs clang-tidy on every source file of the product; every finding is an error, all of them are shown.

Usage: tidy.py ROOT

A file that passed is not looked at again until it, one of our headers that it includes or the list of checks
changes. Nothing is built: what the build generates is not ours to judge.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

TIDY = ["clang-tidy-19", "--quiet", "--header-filter=.*"]
INCLUDE = re.compile(rb'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def own_files(root: pathlib.Path, file: pathlib.Path, seen: set) -> set:
    """`file` and our headers that it includes, directly or not."""
    if file in seen or not file.is_file():
        return seen
    seen.add(file)
    for name in INCLUDE.findall(file.read_bytes()):
        own_files(root, root / os.fsdecode(name), seen)
    return seen


def fingerprint(root: pathlib.Path, file: pathlib.Path, command: str) -> str:
    digest = hashlib.sha256(f"{TIDY} {command}".encode())
    for part in [root / ".clang-tidy", *sorted(own_files(root, file, set()))]:
        digest.update(f"\0{part}\0".encode() + part.read_bytes())
    return digest.hexdigest()


def check(root: pathlib.Path, tree: pathlib.Path, file: pathlib.Path, command: str) -> str:
    """What clang-tidy has to say of `file`; empty when it passes."""
    passed = tree / "passed" / fingerprint(root, file, command)
    if passed.exists():
        return ""
    done = subprocess.run([*TIDY, "-p", str(tree), str(file)], capture_output=True, text=True, check=False)
    if done.returncode == 0:
        passed.touch()
        return ""
    return done.stdout or done.stderr or f"{file}: clang-tidy ended with {done.returncode}\n"


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[1]).resolve()
    tree = root / "build/tidy"
    subprocess.run(["cmake", "-S", str(root), "--preset", "tidy"], stdout=subprocess.DEVNULL, check=True)
    (tree / "passed").mkdir(exist_ok=True)
    entries = json.loads((tree / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {pathlib.Path(entry["file"]): entry["command"] for entry in entries}
    ours = {file: command for file, command in commands.items()
            if root in file.parents and tree not in file.parents}
    if not ours:
        print("tidy: there is nothing to check")
        return 1
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for finding in pool.map(lambda item: check(root, tree, *item), sorted(ours.items())):
            if finding:
                failures += 1
                print(finding, flush=True)
    print(f"tidy: {failures} of {len(ours)} files have findings" if failures else f"tidy: {len(ours)} files pass")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
