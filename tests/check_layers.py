#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Fails when a source file includes a header of a folder that its own folder may not know, when a folder with sources is
not listed, and when two folders know each other, directly or through others.

Usage: check_layers.py ROOT

Static libraries do not notice an include that points up the house, so this does.
"""

import pathlib
import re
import sys

VALUES = {"base", "platform"}
SERVICES = VALUES | {"activity", "tracking", "account", "sync"}
FACILITIES = VALUES | {"backends/posix", "backends/dbus"}
CHOICE = FACILITIES | {"backends/xdg", "backends/desktops/choice"}
ACCESSIBILITY = "backends/desktops/accessibility"

# Each folder with the other folders whose headers it may include; a file that knows more than its folder stands for itself.
MAY_INCLUDE = {
    "base": set(),
    "platform": {"base"},
    "activity": VALUES,
    "tracking": VALUES | {"activity"},
    "account": VALUES,
    "sync": VALUES | {"activity", "account"},
    "shell": SERVICES,
    "views/models": SERVICES | {"shell"},
    "views": SERVICES | {"shell", "views/models"},
    # The only one that knows a back-end.
    "app": SERVICES | {"shell", "views", "backends/linux", "backends/page_addresses"} | FACILITIES,
    "backends/posix": VALUES,
    "backends/dbus": VALUES | {"backends/posix"},
    "backends/xdg": FACILITIES,
    "backends/keyring": FACILITIES,
    "backends/desktops/choice": FACILITIES | {"backends/xdg"},
    "backends/desktops/x11": CHOICE,
    "backends/desktops/wayland": CHOICE,
    "backends/desktops/kwin": CHOICE,
    "backends/desktops/gnome": CHOICE,
    ACCESSIBILITY: CHOICE,
    "backends/page_addresses": CHOICE | {ACCESSIBILITY},
    "backends/qt": CHOICE | {"backends/desktops/x11"},
    # The factory that puts them together.
    "backends/linux": CHOICE | {ACCESSIBILITY, "backends/keyring", "backends/qt", "backends/page_addresses"}
    | {f"backends/desktops/{desktop}" for desktop in ("x11", "wayland", "kwin", "gnome")},
    "service/values": {"base"},
    "service/history": {"base"},
    "service/database": {"base", "service/values", "service/history"},
    "service": {"base", "service/values", "service/database"},
    "service/http": {"base", "service/values", "service"},
    "service/api": {"base", "service/values", "service/database", "service", "service/http"},
    "service/operator": {"base", "service/values", "service/database", "service", "service/http"},
    # The only one of the service that knows all of it.
    "service/main.cpp": {"base", "service/values", "service/database", "service", "service/http", "service/api",
                         "service/operator"},
    "browser/host": set(),
    "tests/fakes": VALUES,
}
# Headers of values that a folder below their own may include: they stand on a floor of their own.
VALUES_OF = {f"service/{name}.h": "service/values"
             for name in ("answer", "json_stream", "result", "sign_in_request", "upload")}
# Tests, benchmarks and tools may include everything.
UNCHECKED = {"tests", "benchmarks", "tools"}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def folder_of(path: str) -> str:
    return VALUES_OF.get(path) or path.rpartition("/")[0]


def includes(root: pathlib.Path):
    """(path, its folder, an included header) of every source in the tree but the build's."""
    tops = [top for top in sorted(root.iterdir()) if top.is_dir() and top.name not in {"build", ".git"}]
    for file in (file for top in tops for file in sorted(top.rglob("*"))):
        path = file.relative_to(root).as_posix()
        here = path if path in MAY_INCLUDE else folder_of(path)
        if file.suffix not in {".h", ".cpp"}:
            continue
        if path.split("/")[0] in UNCHECKED and here not in MAY_INCLUDE:
            continue
        yield path, here, ""
        for header in INCLUDE.findall(file.read_text(encoding="utf-8")):
            yield path, here, header


def in_a_circle(knows: dict) -> set:
    """The folders that know themselves, directly or through others."""
    found = set()
    for folder in knows:
        known, waiting = set(), [folder]
        while waiting:
            for next_one in knows.get(waiting.pop(), set()) - known:
                known.add(next_one)
                waiting.append(next_one)
        if folder in known:
            found.add(folder)
    return found


def violations(root: pathlib.Path):
    knows: dict = {}
    unlisted = set()
    for path, here, header in includes(root):
        if here not in MAY_INCLUDE:
            if here not in unlisted:
                yield f"{path}: the folder {here} is not listed in check_layers.py"
            unlisted.add(here)
            continue
        there = folder_of(header)
        if there in MAY_INCLUDE and there != here:
            knows.setdefault(here, set()).add(there)
            if there not in MAY_INCLUDE[here]:
                yield f"{path}: {here} may not include {header}"
    for folder in sorted(in_a_circle(MAY_INCLUDE) | in_a_circle(knows)):
        yield f"{folder}: knows itself, or may, by way of others"


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    found = list(violations(pathlib.Path(sys.argv[1])))
    print("\n".join(found) if found else "layers: every include points to an allowed folder")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
