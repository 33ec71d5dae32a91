#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Prints the changelog of a Debian package, made from that of the project.

Usage: changelog.py CHANGELOG PACKAGE VERSION DATE MAINTAINER

CHANGELOG has a section for each version, "## [1.0.0] - 2026-11-21", newest first. A section "## [Unreleased]" above
that of VERSION is left out; where VERSION has no section yet, it stands for it, with DATE. A section of VERSION with
another date than DATE is an error.
"""

import datetime
import email.utils
import re
import sys
import textwrap

SECTION = re.compile(r"^## \[(?P<version>[^\]]+)\](?: - (?P<date>\d{4}-\d\d-\d\d))?$", re.MULTILINE)
LINK = re.compile(r"\[([^\]]+)\]\([^)]*\)")


def plain(markdown: str) -> str:
    return LINK.sub(r"\1", markdown).replace("`", "").replace("**", "")


def changes(body: str) -> str:
    """The headings and items of a section: "### Added", "- Something", continued by indented lines. Nothing without items."""
    lines = []
    for block in re.split(r"\n(?=- |### )", "\n" + body.strip()):
        text = plain(" ".join(block.split()))
        if text.startswith("### "):
            lines += [f"  [ {text[4:]} ]"]
        elif text.startswith("- "):
            lines += textwrap.wrap(text[2:], 78, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False)
    return "\n".join(lines) if any(line.startswith("  * ") for line in lines) else ""


def sections(text: str):
    """(version or "Unreleased", date or None, body) of each section."""
    marks = list(SECTION.finditer(text))
    for mark, following in zip(marks, marks[1:] + [None]):
        yield mark["version"], mark["date"], text[mark.end() : following.start() if following else len(text)]


def debian_changelog(text: str, package: str, version: str, date: str, maintainer: str) -> str:
    found = {name: (day, body) for name, day, body in sections(text)}
    if version not in found:
        if "Unreleased" not in found:
            raise ValueError(f"there is neither a section for {version} nor one for what is unreleased")
        found[version] = (date, found["Unreleased"][1])
        found = {version: found[version], **found}
    found.pop("Unreleased", None)
    if next(iter(found)) != version:
        raise ValueError(f"the newest version is {next(iter(found))}, not {version}")
    if found[version][0] != date:
        raise ValueError(f"{version} is of {found[version][0]}, not of {date}")
    entries = []
    for name, (day, body) in found.items():
        instant = datetime.datetime.fromisoformat(f"{day}T00:00:00+00:00")
        if not changes(body):
            raise ValueError(f"nothing is said of {name}")
        entries.append(
            f"{package} ({name}) unstable; urgency=medium\n\n{changes(body)}\n\n"
            f" -- {maintainer}  {email.utils.format_datetime(instant)}\n"
        )
    return "\n".join(entries)


def main() -> int:
    if len(sys.argv) != 6:
        print(__doc__, file=sys.stderr)
        return 2
    with open(sys.argv[1], encoding="utf-8") as file:
        text = file.read()
    try:
        sys.stdout.write(debian_changelog(text, *sys.argv[2:]))
    except ValueError as error:
        print(f"{sys.argv[1]}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
