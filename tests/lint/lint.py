#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Checks the text of our own files; prints what it finds and fails when there is anything.

Usage: lint.py format|shell|spdx|python|own-header ROOT

  format  C++ files are formatted as .clang-format says
  shell   shellcheck finds nothing, in scripts without a suffix either
  spdx    every source file names its copyright holder and licence
  python  every Python file compiles
  own-header  a source includes its own header first, which shows that it compiles on its own
"""

import os
import pathlib
import re
import subprocess
import sys

# In two parts: other checkers would take the whole for this file's own lines.
SPDX = tuple("SPDX-" + name for name in ("FileCopyrightText: ", "License-Identifier: "))
WITH_SPDX = {".h", ".cpp", ".js", ".in", ".cmake", ".py", ".sh", ".qml", ".svg", ".yaml", ".yml"}

INCLUDE = re.compile(r'^#include [<"]([^>"]+)[>"]', re.MULTILINE)


def source_files(root: pathlib.Path):
    """Every file of the tree but the build's and the version control's. A release archive has no
    list of tracked files, so the tree itself is the list."""
    for folder, folders, files in os.walk(root):
        here = pathlib.Path(folder)
        skipped = {".git", ".cache", "__pycache__"} | ({"build"} if here == root else set())
        folders[:] = sorted(set(folders) - skipped)
        yield from (here / name for name in sorted(files) if (here / name).is_file())


def first_line(file: pathlib.Path) -> str:
    with file.open(encoding="utf-8", errors="replace") as text:
        return text.readline()


def interpreter(file: pathlib.Path) -> str:
    """"shell", "python" or "": what a script is written in, by its suffix or its first line."""
    line = first_line(file) if not file.suffix else ""
    if file.suffix == ".sh" or (line.startswith("#!") and "sh" in line):
        return "shell"
    if file.suffix == ".py" or (line.startswith("#!") and "python" in line):
        return "python"
    return ""


def run_on(files: list, *command: str) -> list:
    """The output of `command` on `files` as findings; none when it is content."""
    if not files:
        return []
    try:
        done = subprocess.run([*command, *map(str, files)], capture_output=True, text=True, check=False)
    except FileNotFoundError:
        return [f"{command[0]} is not installed: scripts/setup.sh lint"]
    return [done.stdout + done.stderr] if done.returncode else []


def check_format(root: pathlib.Path, files: list) -> list:
    sources = [f for f in files if f.suffix in {".h", ".cpp"}]
    return run_on(sources, "clang-format-19", f"--style=file:{root / '.clang-format'}", "--dry-run", "-Werror")


def check_shell(_root: pathlib.Path, files: list) -> list:
    return run_on([f for f in files if interpreter(f) == "shell"], "shellcheck")


def check_spdx(root: pathlib.Path, files: list) -> list:
    findings = []
    for file in files:
        if file.name.endswith(".json.in"):
            continue  # no comments in JSON
        if file.suffix in WITH_SPDX or file.name == "CMakeLists.txt" or interpreter(file):
            head = file.read_text(encoding="utf-8")[:1000]
            findings += [f"{file.relative_to(root)}: no {mark.strip()}" for mark in SPDX if mark not in head]
    return findings


def check_own_header(root: pathlib.Path, files: list) -> list:
    present = set(files)
    findings = []
    for file in files:
        header = file.with_suffix(".h")
        if file.suffix != ".cpp" or header not in present:
            continue
        first = INCLUDE.search(file.read_text(encoding="utf-8"))
        if not first or first[1] != header.relative_to(root).as_posix():
            findings.append(f"{file.relative_to(root)}: does not include {header.name} before anything else")
    return findings


def check_python(root: pathlib.Path, files: list) -> list:
    findings = []
    for file in files:
        if interpreter(file) == "python":
            try:
                compile(file.read_text(encoding="utf-8"), str(file.relative_to(root)), "exec")
            except (SyntaxError, ValueError) as error:
                findings.append(f"{file.relative_to(root)}: {error}")
    return findings


CHECKS = {
    "format": check_format,
    "shell": check_shell,
    "spdx": check_spdx,
    "python": check_python,
    "own-header": check_own_header,
}


def main() -> int:
    if len(sys.argv) != 3 or sys.argv[1] not in CHECKS:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[2]).resolve()
    files = list(source_files(root))
    if not files:
        print(f"nothing to check in {root}", file=sys.stderr)
        return 2
    findings = CHECKS[sys.argv[1]](root, files)
    print("\n".join(findings) if findings else f"{sys.argv[1]}: nothing found in {len(files)} files")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
