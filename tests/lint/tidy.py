#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Runs clang-tidy on every source file of the product; every finding is an error, all of them are shown.

Usage: tidy.py ROOT

Most of the time goes into the toolkit's headers. So a few files of a folder are read as one, if what they keep to
themselves has different names. Only if that does not pass, they are read one by one, which decides.

Files that passed are not looked at again until one of them, one of our headers that they include or the list of checks
changes. Nothing is built: what the build generates is not ours to judge.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

# Sources are included on purpose here.
TIDY = ["clang-tidy-19", "--quiet", "--header-filter=.*", "--checks=-bugprone-suspicious-include"]
TOGETHER = 6
# What a line at the left margin declares: a type, or a function or constant that is no member of a class.
OWN_NAME = re.compile(r"^(?!using|namespace|template)(?:(?:enum class|enum|class|struct|union)\s+(\w+)"
                      r"|[A-Za-z_][^\n(={;]*?(?<!:)\b(\w+)\s*[(={;])", re.MULTILINE)
INCLUDE = re.compile(rb'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def own_files(root: pathlib.Path, file: pathlib.Path, seen: set) -> set:
    """`file` and our headers that it includes, directly or not."""
    if file in seen or not file.is_file():
        return seen
    seen.add(file)
    for name in INCLUDE.findall(file.read_bytes()):
        own_files(root, root / os.fsdecode(name), seen)
    return seen


def fingerprint(root: pathlib.Path, files: list, options: tuple) -> str:
    digest = hashlib.sha256(f"{TIDY} {options} {files}".encode())
    seen = set()
    for file in files:
        own_files(root, file, seen)
    for part in [root / ".clang-tidy", *sorted(seen)]:
        digest.update(f"\0{part}\0".encode() + part.read_bytes())
    return digest.hexdigest()


def own_names(file: pathlib.Path) -> set:
    """What `file` may keep to itself: names of types, functions and constants outside of classes."""
    found = OWN_NAME.findall(file.read_text(encoding="utf-8"))
    return {name for names in found for name in names if name}


def settings(command: str, file: pathlib.Path) -> tuple:
    """The compiler's options in `command` for `file`, without what differs for each file of a target."""
    options = shlex.split(command)[1:]
    output = options.index("-o")
    del options[output:output + 2]
    return tuple(option for option in options if option not in ("-c", str(file)))


def groups(commands: dict) -> list:
    """The files of `commands` in lists that may be read as one, with their options."""
    made = []
    for file, command in sorted(commands.items()):
        key, names = (file.parent, settings(command, file)), own_names(file)
        for group in made:
            if group["key"] == key and len(group["files"]) < TOGETHER and not names & group["names"]:
                group["files"].append(file)
                group["names"] |= names
                break
        else:
            made.append({"key": key, "files": [file], "names": names})
    return [(group["key"][1], group["files"]) for group in made]


def findings(root: pathlib.Path, source: pathlib.Path, options: tuple) -> str:
    """What clang-tidy has to say of `source`; empty when it passes."""
    done = subprocess.run([*TIDY, f"--config-file={root / '.clang-tidy'}", str(source), "--", *options],
                          capture_output=True, text=True, check=False)
    if done.returncode == 0:
        return ""
    return done.stdout or done.stderr or f"{source}: clang-tidy ended with {done.returncode}\n"


def check(root: pathlib.Path, tree: pathlib.Path, options: tuple, files: list) -> list:
    """The findings in each of `files`, of those that have any."""
    passed = tree / "passed" / fingerprint(root, files, options)
    if passed.exists():
        return []
    found = []
    if len(files) == 1:
        found = [text for text in [findings(root, files[0], options)] if text]
    else:
        source = tree / "together" / f"{passed.name}.cpp"
        source.write_text("".join(f'#include "{file.relative_to(root)}"\n' for file in files), encoding="utf-8")
        if findings(root, source, options):
            found = [text for file in files for text in check(root, tree, options, [file])]
    if not found:
        passed.touch()
    return found


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[1]).resolve()
    tree = root / "build/tidy"
    subprocess.run(["cmake", "-S", str(root), "--preset", "tidy"], stdout=subprocess.DEVNULL, check=True)
    for folder in ("passed", "together"):
        (tree / folder).mkdir(exist_ok=True)
    entries = json.loads((tree / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {pathlib.Path(entry["file"]): entry["command"] for entry in entries}
    ours = {file: command for file, command in commands.items()
            if root in file.parents and tree not in file.parents}
    if not ours:
        print("tidy: there is nothing to check")
        return 1
    failures = 0
    # The longest first, so that no processor waits at the end.
    work = sorted(groups(ours), key=lambda group: len(group[1]), reverse=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(lambda group: check(root, tree, *group), work):
            failures += len(found)
            for text in found:
                print(text, flush=True)
    print(f"tidy: {failures} of {len(ours)} files have findings" if failures else f"tidy: {len(ours)} files pass")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
