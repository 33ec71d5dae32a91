#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""Compares what Quillstep recorded, kept and sent with what the service has stored; fails where they differ."""

import argparse
import json
import pathlib
import re
import sys

STORED = re.compile(r"^user \d+: (\d+) rows, (-?\d+) seconds", re.MULTILINE)
SENT = re.compile(r"^Velomira Sync Success: Synced (\d+) activity records\.$", re.MULTILINE)
TICK = re.compile(r"^Tick: ", re.MULTILINE)


def stored(summary: str) -> tuple:
    """Rows and seconds of all users in what `velomira-service --summary` prints."""
    users = STORED.findall(summary)
    return sum(int(rows) for rows, _ in users), sum(int(seconds) for _, seconds in users)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("output", type=pathlib.Path, help="what Quillstep wrote to standard output")
    parser.add_argument("data", type=pathlib.Path, help="its data file, after it has ended")
    parser.add_argument("before", help="velomira-service --summary, before")
    parser.add_argument("after", help="the same, afterwards")
    arguments = parser.parse_args()

    said = arguments.output.read_text(encoding="utf-8", errors="replace")
    recorded = len(TICK.findall(said))
    uploads = [int(rows) for rows in SENT.findall(said)]
    kept = round(sum(record["duration"] for record in json.loads(arguments.data.read_text(encoding="utf-8"))))
    (rows_before, seconds_before), (rows_after, seconds_after) = stored(arguments.before), stored(arguments.after)
    rows, seconds = rows_after - rows_before, seconds_after - seconds_before

    print(f"Uploaded: {sum(uploads)} rows sent in {len(uploads)} uploads, {rows} rows stored")
    print(f"Seconds: {recorded} recorded = {seconds} stored + {kept} kept here")
    faults = []
    if not uploads:
        faults.append("nothing was uploaded")
    if sum(uploads) != rows:
        faults.append("the service has not stored the rows that were sent")
    if recorded != seconds + kept:
        faults.append(f"{recorded - seconds - kept} seconds are missing")
    for fault in faults:
        print(f"compare_upload.py: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
