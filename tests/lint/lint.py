#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Checks the text of our own files; prints what it finds and fails when there is anything.

Usage: lint.py format|shell|spdx|python|own-header|links|waits|names|owners ROOT

  format  C++ files are formatted as .clang-format says
  shell   shellcheck finds nothing, in scripts without a suffix either
  spdx    every source file names its copyright holder and licence
  python  every Python file compiles
  own-header  a source includes its own header first, which shows that it compiles on its own
  links   a link from a page to another file or heading of ours leads somewhere
  owners  every statement and key of the service on what belongs to users says whose it is: user_id, or a comment
          "all users" or "whose it is" beside it
  waits   no test sleeps, nor waits until a clock has moved: tests/support/passing_time.h says for what it may
  names   what the tests of a folder define outside of anonymous namespaces has names of its own: they may share a program
"""

import os
import pathlib
import re
import subprocess
import sys
import urllib.parse

# In two parts: other checkers would take the whole for this file's own lines.
SPDX = tuple("SPDX-" + name for name in ("FileCopyrightText: ", "License-Identifier: "))
WITH_SPDX = {".h", ".cpp", ".js", ".in", ".cmake", ".py", ".sh", ".qml", ".svg", ".yaml", ".yml"}

INCLUDE = re.compile(r'^#include [<"]([^>"]+)[>"]', re.MULTILINE)


COMMENT = re.compile(r"//[^\n]*")
# A condition without another one beside the clock; and what sleeps.
WAIT_FOR_A_CLOCK = re.compile(r"(?:QTRY_\w+|qWaitFor)\s*\((?:[^;&|]|&(?!&)|\|(?!\|))*?\b\w*(?:elapsed|hasExpired)\(\s*[^;&|]*;"
                              r"|\bqSleep\s*\([^;]*;|\bqWait\s*\(\s*(?!\d{1,2}\s*\))[^;]*;")  # pacing a loop may
PASSING_TIME = "tests/support/passing_time.h"  # where it is named
ANONYMOUS = re.compile(r"^namespace \{$.*?^\} // namespace$", re.MULTILINE | re.DOTALL)
# A type or a function at the left margin; not a member, nor what a macro makes.
DEFINED = re.compile(r"^(?:class|struct|union|enum class|enum) (\w+)"
                     r"|^(?!using|namespace|template|return|static)[a-z][^\n;={(]* [*&]*(\w+)\(", re.MULTILINE)
CODE_BLOCK = re.compile(r"^(```|~~~).*?^\1[ \t]*$", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"(`+)(?!`).+?(?<!`)\1(?!`)", re.DOTALL)
# "[text](target)", with an image inside the text, and "[name]: target".
LINK = re.compile(r"\]\(\s*<?([^()\s<>]*(?:\([^()\s]*\)[^()\s]*)*)>?(?:\s+[\"'][^)]*)?\)"
                  r"|^\[[^\]]+\]:\s*<?(\S+?)>?\s*$", re.MULTILINE)
HEADING = re.compile(r"^#{1,6}[ \t]+(.+?)[ \t]*#*$", re.MULTILINE)
ELSEWHERE = re.compile(r"^[a-zA-Z][a-zA-Z0-9+.-]*:|^//")


ADJACENT_LITERALS = re.compile(r'"(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*')
OF_USERS = re.compile(r"\b(?:from|into|join|update|create table|on) (runs|days|devices|sessions|categories|access_log|old_activities)\b")
KEY = re.compile(r"(?:primary key|\bindex \w+ on \w+) \((\w+)")


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


def literals(text: str):
    """(line, text) of each group of C++ literals that stand side by side."""
    for group in ADJACENT_LITERALS.finditer(text):
        yield text.count("\n", 0, group.start()) + 1, "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', group[0]))


def check_owners(root: pathlib.Path, files: list) -> list:
    findings = []
    for file in files:
        path = file.relative_to(root).as_posix()
        if not path.startswith("service/") or file.suffix != ".cpp":
            continue
        text = file.read_text(encoding="utf-8")
        lines = text.splitlines()
        for line, statement in literals(text):
            table = OF_USERS.search(statement)
            key = KEY.search(statement) if table else None
            if not table or ("user_id" in statement and (not key or key[1] == "user_id")):
                continue
            if not re.search("all users|whose it is", "\n".join(lines[max(0, line - 4):line])):
                findings.append(f"{path}:{line}: does not say whose {table[1]} it is about")
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


def anchors(page: str) -> set:
    """What the headings of a page are called in addresses, as the hosts of such pages make it: in lower case, without
    punctuation, with dashes for blanks, and a number behind those that come again."""
    found = set()
    for heading in HEADING.findall(CODE_BLOCK.sub("", page)):
        text = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", heading)
        plain = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
        name, number = plain, 0
        while name in found:
            number += 1
            name = f"{plain}-{number}"
        found.add(name)
    return found


def check_waits(root: pathlib.Path, files: list) -> list:
    findings = []
    for file in files:
        path = file.relative_to(root).as_posix()
        if file.suffix not in {".h", ".cpp"} or not path.startswith("tests/") or path == PASSING_TIME:
            continue
        text = COMMENT.sub("", file.read_text(encoding="utf-8"))
        for match in WAIT_FOR_A_CLOCK.finditer(text):
            findings.append(f"{path}: \"{' '.join(match[0].split())}\" waits for a clock")
    return findings


def check_names(root: pathlib.Path, files: list) -> list:
    findings, places = [], {}
    for file in files:
        if file.suffix != ".cpp" or not file.name.startswith("tst_"):
            continue
        text = ANONYMOUS.sub("", file.read_text(encoding="utf-8"))
        for match in DEFINED.finditer(text):
            other = places.setdefault((file.parent, match[1] or match[2]), file)
            if other != file:
                findings.append(f"{file.relative_to(root)}: \"{match[1] or match[2]}\" is in {other.name}, too")
    return findings


def check_links(root: pathlib.Path, files: list) -> list:
    pages = {f: f.read_text(encoding="utf-8") for f in files if f.suffix == ".md"}
    findings = []
    for file, text in pages.items():
        for match in LINK.finditer(CODE.sub("", CODE_BLOCK.sub("", text))):
            link = match[1] or match[2] or ""
            if ELSEWHERE.match(link):
                continue
            path, _, fragment = link.partition("#")
            target = (file.parent / urllib.parse.unquote(path)).resolve() if path else file
            where = f"{file.relative_to(root)}: \"{link}\""
            if not link or not target.is_relative_to(root) or not target.exists():
                findings.append(f"{where} leads nowhere")
            elif fragment and target in pages and fragment not in anchors(pages[target]):
                findings.append(f"{where}: there is no such heading")
    return findings


CHECKS = {
    "format": check_format,
    "shell": check_shell,
    "spdx": check_spdx,
    "python": check_python,
    "own-header": check_own_header,
    "links": check_links,
    "waits": check_waits,
    "names": check_names,
    "owners": check_owners,
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
