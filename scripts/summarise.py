#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Prints how much time a data file holds, per application and per window title."""

import argparse
import collections
import json
import pathlib
import sys

REFERENCE = 978307200  # 2001-01-01 in Unix time: timestamps in the file count from there
TYPES = {"id": str, "appName": str, "windowTitle": str, "timestamp": (int, float), "duration": (int, float)}


def read(file: pathlib.Path) -> list:
    """The records; raises ValueError with the reason if the file is not a list of them."""
    try:
        records = json.loads(file.read_text(encoding="utf-8"))
    except FileNotFoundError:
        raise ValueError("there is no such file") from None
    if not isinstance(records, list):
        raise ValueError("not a list")
    for number, record in enumerate(records):
        if not isinstance(record, dict):
            raise ValueError(f"record {number} is not an object")
        for key, kind in TYPES.items():
            if not isinstance(record.get(key), kind):
                raise ValueError(f"record {number} has no proper {key}")
    return records


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("file", type=pathlib.Path)
    parser.add_argument("--from", dest="start", type=float, help="Unix time at which recording began")
    parser.add_argument("--to", dest="end", type=float, help="Unix time at which it ended")
    arguments = parser.parse_args()
    try:
        records = read(arguments.file)
    except (ValueError, OSError) as error:
        print(f"summarise.py: {arguments.file}: {error}", file=sys.stderr)
        return 1
    if not records:
        print(f"summarise.py: nothing was recorded in {arguments.file}", file=sys.stderr)
        return 1

    applications = collections.Counter()
    titles = collections.Counter()
    for record in records:
        applications[record["appName"]] += record["duration"]
        titles[record["appName"], record["windowTitle"]] += record["duration"]
    print(f"\nIn the data file: {sum(applications.values()):.0f} s in {len(records)} records")
    for name, seconds in applications.most_common():
        print(f"{seconds:7.0f} s  {name}")
        for (owner, title), part in titles.most_common():
            if owner == name:
                print(f"{part:13.0f} s  {title or '(no title)'}")
    if arguments.start is not None and arguments.end is not None:
        wall = arguments.end - arguments.start
        within = [r for r in records if arguments.start <= r["timestamp"] + REFERENCE <= arguments.end]
        covered = sum(r["duration"] for r in within)
        print(f"Covered: {covered:.0f} s of {wall:.0f} s wall time ({covered / wall:.0%})")
    print(f"Data file: {arguments.file} ({arguments.file.stat().st_size} bytes)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
