#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Runs clang-tidy on every source file of the product; every finding is an error, all of them are shown.

Usage: tidy.py ROOT

Most of the time goes into the toolkit's headers. So many files are read as one, if what they keep to themselves has
different names. Only if that does not pass, they are read one by one, which decides.

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

# Sources are included on purpose here. What is installed is not ours to judge: the analyzer does not know, for one, what
# a coroutine of Asio keeps.
TIDY = ["clang-tidy-19", "--quiet", "--header-filter=.*", "--exclude-header-filter=^/usr/", "--checks=-bugprone-suspicious-include"]
TOGETHER = 12
# What a line at the left margin declares: a type, a macro, or a function or constant that is no member of a class.
OWN_NAME = re.compile(r"^(?!using|namespace|template)(?:(?:enum class|enum|class|struct|union|#define)\s+(\w+)"
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


def settings(command: str, file: pathlib.Path) -> list:
    """The compiler's options in `command` for `file`, each in one piece with its value."""
    words = shlex.split(command)[1:]
    options = []
    while words:
        word = words.pop(0)
        if word == "-o":
            words.pop(0)
        elif word == "-isystem":
            options.append(word + words.pop(0))
        elif word not in ("-c", str(file)):
            options.append(word)
    return options


def common_settings(commands: dict) -> dict:
    """The options of each file of `commands` with those of all others that do not contradict them: folders to look
    into and definitions. What a file does not ask for does not hurt it."""
    own = {file: settings(command, file) for file, command in commands.items()}
    everything = list(dict.fromkeys(option for options in own.values() for option in options))
    names = [option.partition("=")[0] for option in everything if option.startswith("-D")]
    disputed = {name for name in names if names.count(name) > 1}
    shared = [option for option in everything if option.partition("=")[0] not in disputed]
    return {file: (*shared, *(option for option in options if option.partition("=")[0] in disputed))
            for file, options in own.items()}


def groups(commands: dict) -> list:
    """The files of `commands` in lists that may be read as one, with their options."""
    made = []
    options = common_settings(commands)
    for file in sorted(commands):
        names = own_names(file) - {"main"}
        for group in made:
            if group["options"] == options[file] and len(group["files"]) < TOGETHER and not names & group["names"]:
                group["files"].append(file)
                group["names"] |= names
                break
        else:
            made.append({"options": options[file], "files": [file], "names": names})
    return [(group["options"], group["files"]) for group in made]


def as_one(root: pathlib.Path, files: list) -> str:
    """A source of which `files` are parts. Each may have a main()."""
    return "".join(f'#define main main_{number} // NOLINT\n#include "{file.relative_to(root)}"\n#undef main\n'
                   for number, file in enumerate(files))


def write_empty_mocs(folder: pathlib.Path, files: list) -> None:
    """A source with signals of its own includes what is generated for them at its end: nothing, here."""
    folder.mkdir(exist_ok=True)
    for file in files:
        for name in INCLUDE.findall(file.read_bytes()):
            if name.endswith(b".moc"):
                (folder / os.fsdecode(name)).touch()


def findings(root: pathlib.Path, source: pathlib.Path, options: tuple) -> str:
    """What clang-tidy has to say of `source`; empty when it passes."""
    done = subprocess.run([*TIDY, f"--config-file={root / '.clang-tidy'}", str(source), "--", *options,
                           f"-I{root / 'build/tidy/mocs'}"], capture_output=True, text=True, check=False)
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
        source.write_text(as_one(root, files), encoding="utf-8")
        if findings(root, source, options):
            found = [text for file in files for text in check(root, tree, options, [file])]
    if not found:
        passed.touch()
    return found


def our_commands(root: pathlib.Path) -> dict:
    """The compiler's command line for each source of ours, without compiling headers beforehand or files together."""
    tree = root / "build/tidy"
    subprocess.run(["cmake", "-S", str(root), "--preset", "tidy"], stdout=subprocess.DEVNULL, check=True)
    for folder in ("passed", "together"):
        (tree / folder).mkdir(exist_ok=True)
    entries = json.loads((tree / "compile_commands.json").read_text(encoding="utf-8"))
    commands = {pathlib.Path(entry["file"]): entry["command"] for entry in entries}
    ours = {file: command for file, command in commands.items()
            if root in file.parents and tree not in file.parents}
    write_empty_mocs(tree / "mocs", list(ours))
    return ours


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[1]).resolve()
    tree = root / "build/tidy"
    ours = our_commands(root)
    if not ours:
        print("tidy: there is nothing to check")
        return 1
    failures = 0
    # The longest first, so that no processor waits at the end.
    work = sorted(groups(ours), key=lambda group: len(group[-1]), reverse=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(lambda group: check(root, tree, *group), work):
            failures += len(found)
            for text in found:
                print(text, flush=True)
    print(f"tidy: {failures} of {len(ours)} files have findings" if failures else f"tidy: {len(ours)} files pass")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
