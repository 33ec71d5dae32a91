#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Fails when a source file includes a header of a folder that its own folder may not know.

Usage: check_layers.py ROOT

Static libraries do not notice an include that points up the house, so this does.
"""

import pathlib
import re
import sys

PLATFORM = {"platform", "values"}
SERVICES = PLATFORM | {"activity", "tracking", "account", "sync"}

# Each folder with the other folders whose headers it may include.
MAY_INCLUDE = {
    "terminal": {"values"},  # the question for a password, which the agent and the service ask alike
    "values": set(),
    "platform": {"values"},
    "platform/linux": PLATFORM,
    "activity": PLATFORM,
    "tracking": PLATFORM | {"activity"},
    "account": PLATFORM,
    "sync": PLATFORM | {"activity", "account"},
    "app/shell": SERVICES,
    "views": SERVICES | {"app/shell"},
    "app": SERVICES | {"app/shell", "views"},
    "app/program": SERVICES | {"app/shell", "views", "app", "platform/linux", "terminal"},  # the composition root
    "service": {"values", "terminal"},
    "browser": {"values"},
    "tests/fakes": PLATFORM,
}
# Files in platform/ that are no interfaces but values, helpers and formats without a window or a desktop: a floor of their
# own below it, which the service and the browsers' host may use, too.
VALUES = {
    f"platform/{name}"
    for name in (
        "ascii build_config exact_utf8 iso8601 json_writer mailbox result strict_json terminal_text text_scale time_texts "
        "truncated url_components uuid wipe"
    ).split()
}
# Single files that may know more than their folder.
EXCEPTIONS = {"app/main.cpp": {"app/program"}}  # it only starts the program

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def folder_of(path: str) -> str:
    """The longest listed folder that holds `path`, or its first component."""
    if path.rpartition(".")[0] in VALUES:
        return "values"
    parts = path.split("/")
    two = "/".join(parts[:2])
    return two if two in MAY_INCLUDE else parts[0]


def violations(root: pathlib.Path):
    tops = sorted({name.split("/")[0] for name in MAY_INCLUDE})
    files = [f for top in tops for f in sorted((root / top).rglob("*")) if f.suffix in {".h", ".cpp"}]
    for file in files:
        path = file.relative_to(root).as_posix()
        here = folder_of(path)
        if here not in MAY_INCLUDE:  # tests, other than the fakes, may include everything
            continue
        allowed = MAY_INCLUDE[here] | {here} | EXCEPTIONS.get(path, set())
        for header in INCLUDE.findall(file.read_text(encoding="utf-8")):
            there = folder_of(header)
            if there in MAY_INCLUDE and there not in allowed:
                yield f"{path}: {here} may not include {header}"


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    found = list(violations(pathlib.Path(sys.argv[1])))
    print("\n".join(found) if found else "layers: every include points to an allowed folder")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
