#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The changelog of the packages is made rightly from that of the project, and the latter fits the version.

Usage: test_changelog.py [unittest options]
"""

import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "packaging" / "debian"))
sys.dont_write_bytecode = True

import changelog  # noqa: E402

TEXT = """# Changelog

## [Unreleased]

### Added

- Something [new](docs/new.md) with
  `code`.

## [1.0.0] - 2026-11-21

### Fixed

- A fault.
"""


def made(text: str, version: str, date: str) -> str:
    return changelog.debian_changelog(text, "package", version, date, "Name <name@example.org>")


class TheChangelog(unittest.TestCase):
    def test_of_a_released_version_leaves_out_what_is_not(self):
        self.assertEqual(
            made(TEXT, "1.0.0", "2026-11-21"),
            "package (1.0.0) unstable; urgency=medium\n\n  [ Fixed ]\n  * A fault.\n\n"
            " -- Name <name@example.org>  Sat, 21 Nov 2026 00:00:00 +0000\n",
        )

    def test_of_a_version_without_a_section_has_what_is_unreleased(self):
        text = made(TEXT, "1.1.0", "2026-12-01")
        self.assertIn("package (1.1.0) unstable; urgency=medium\n\n  [ Added ]\n  * Something new with code.\n", text)
        self.assertIn("  Tue, 01 Dec 2026 00:00:00 +0000\n\npackage (1.0.0) unstable", text)

    def test_refuses_what_does_not_fit(self):
        for text, version, date in (
            (TEXT, "1.0.0", "2026-11-22"),
            (TEXT.replace("- A fault.", ""), "1.0.0", "2026-11-21"),
            (TEXT.replace("[Unreleased]", "[2.0.0] - 2026-12-24"), "1.0.0", "2026-11-21"),
            ("# Changelog\n", "1.0.0", "2026-11-21"),
        ):
            with self.subTest(version=version, date=date), self.assertRaises(ValueError):
                made(text, version, date)

    def test_of_this_project_is_understood_by_debian(self):
        text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
        version = re.search(r"^project\(.* VERSION ([0-9.]+)", text, re.MULTILINE)[1]
        date = re.search(r"^set\(QUILLSTEP_RELEASE_DATE ([0-9-]+)\)", text, re.MULTILINE)[1]
        ours = made((ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), version, date)
        parsed = subprocess.run(
            ["dpkg-parsechangelog", "-l", "-", "-S", "Version"], input=ours, capture_output=True, text=True, check=True
        )
        self.assertEqual((parsed.stdout.strip(), parsed.stderr), (version, ""))


if __name__ == "__main__":
    unittest.main()
