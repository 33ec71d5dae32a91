#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Checks what the application tells the desktop about itself; prints what is wrong and fails then.

Usage: packaging.py PLIST FOLDER

PLIST is the property list that names the application, FOLDER holds the files generated from it.
"""

import pathlib
import plistlib
import subprocess
import sys

IDENTIFIER = "com.velomira.UsageMonitor"

# Other programs and users' settings rely on these.
REQUIRED = {
    "LSUIElement": True,
    "LSMinimumSystemVersion": "14.0",
    "CFBundleName": "Velomira Usage Monitor",
    "CFBundleDisplayName": "Velomira Usage Monitor",
    "CFBundleExecutable": "Quillstep",
    "CFBundleIdentifier": IDENTIFIER,
    "CFBundlePackageType": "APPL",
    "CFBundleShortVersionString": "1.0",
    "CFBundleVersion": "1",
    "NSPrincipalClass": "NSApplication",
    "NSHighResolutionCapable": True,
    "CFBundleURLTypes": [{"CFBundleURLName": IDENTIFIER, "CFBundleURLSchemes": ["velomira"]}],
}


def wrong_values(plist: pathlib.Path) -> list:
    try:
        with plist.open("rb") as file:
            values = plistlib.load(file)
    except (plistlib.InvalidFileException, ValueError, OSError) as error:
        return [f"{plist}: {error}"]
    except Exception as error:  # the XML parser has exceptions of its own
        return [f"{plist}: {error}"]
    names = sorted(values.keys() | REQUIRED.keys())
    return [
        f"{plist}: {name} is {values.get(name)!r}, not {REQUIRED.get(name)!r}"
        for name in names
        if values.get(name) != REQUIRED.get(name) or type(values.get(name)) is not type(REQUIRED.get(name))
    ]


def complaints(*command: str) -> list:
    try:
        done = subprocess.run(command, capture_output=True, text=True, check=False)
    except FileNotFoundError:
        return [f"{command[0]} is not installed: scripts/setup.sh lint"]
    said = (done.stdout + done.stderr).strip()
    return [f"{' '.join(command)}: {said or done.returncode}"] if done.returncode else []


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    name = pathlib.Path(sys.argv[2]) / IDENTIFIER
    findings = (
        wrong_values(pathlib.Path(sys.argv[1]))
        + complaints("desktop-file-validate", f"{name}.desktop")
        + complaints("appstreamcli", "validate", "--no-net", f"{name}.metainfo.xml")
    )
    print("\n".join(findings) if findings else "packaging: nothing found")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
